// Error codes of the web-API runtime itself (not of a module). They answer requests that
// never reached a handler, a handler that answered nothing, and logins.
#pragma once

namespace KOVA {

enum WebAPIError {
    WEBAPI_ERR_UNKNOWN = 100,           // internal error of the runtime
    WEBAPI_ERR_BAD_REQUEST = 101,       // body or fields could not be read, or api/method missing
    WEBAPI_ERR_NO_SUCH_API = 102,       // no loaded module serves that API
    WEBAPI_ERR_NO_SUCH_METHOD = 103,    // the API has no such method
    WEBAPI_ERR_NO_SUCH_VERSION = 104,   // the method exists, but not in that version
    WEBAPI_ERR_TOO_LARGE = 105,         // request body over the runtime's limit
    WEBAPI_ERR_NOT_LOGGED_IN = 106,     // no valid session
    WEBAPI_ERR_NO_ANSWER = 107,         // the handler set neither success nor error
    WEBAPI_ERR_BAD_PARAMS = 108,        // "params" is not a JSON object
    WEBAPI_ERR_BAD_TEXT = 109,          // a text of the request is not valid UTF-8 or holds NUL
    WEBAPI_ERR_BAD_LOGIN = 110,         // login: unknown account or wrong password
    WEBAPI_ERR_OTP_REQUIRED = 111,      // login: the account needs a one-time code, none was given
    WEBAPI_ERR_BAD_OTP = 112,           // login: wrong, outdated or already used one-time code
    WEBAPI_ERR_TOO_MANY_ATTEMPTS = 113, // login: too many failures, refused for a while
    WEBAPI_ERR_SESSION_EXPIRED = 114,   // the session was valid but is over (idle or absolute limit)
    WEBAPI_ERR_PAGE_TOKEN = 115,        // a call authenticated by the cookie alone lacks the page's token
    WEBAPI_ERR_CREDENTIALS_IN_URL = 116, // login: passwd or otp_code in the query string (only the body may carry them)
};

// The text of a runtime code (100 to 116), "Unknown error" for any other.
const char* WebAPIErrorText(int code);

} // namespace KOVA
