// The texts of the runtime's own error codes: the replies of requests that never reached a
// handler, and of logins. The management page shows them beside the module's codes.
#include <kova/WebAPIErrors.h>

namespace KOVA {

const char* WebAPIErrorText(int code)
{
    switch (code) {
    case WEBAPI_ERR_UNKNOWN:
        return "Internal error of the web-API service";
    case WEBAPI_ERR_BAD_REQUEST:
        return "The request could not be read";
    case WEBAPI_ERR_NO_SUCH_API:
        return "No loaded module serves this API";
    case WEBAPI_ERR_NO_SUCH_METHOD:
        return "The API has no such method";
    case WEBAPI_ERR_NO_SUCH_VERSION:
        return "The method does not exist in this version";
    case WEBAPI_ERR_TOO_LARGE:
        return "The request is too large";
    case WEBAPI_ERR_NOT_LOGGED_IN:
        return "Not signed in, or the session has ended";
    case WEBAPI_ERR_NO_ANSWER:
        return "The method gave no answer";
    case WEBAPI_ERR_BAD_PARAMS:
        return "The parameters are not a JSON object";
    case WEBAPI_ERR_BAD_LOGIN:
        return "Unknown account or wrong password";
    case WEBAPI_ERR_OTP_REQUIRED:
        return "This account needs a one-time code";
    case WEBAPI_ERR_BAD_OTP:
        return "Wrong or already used one-time code";
    case WEBAPI_ERR_TOO_MANY_ATTEMPTS:
        return "Too many failed sign-ins; try again later";
    case WEBAPI_ERR_SESSION_EXPIRED:
        return "The session has expired";
    case WEBAPI_ERR_PAGE_TOKEN:
        return "Refused: the call carries the session cookie without the page's anti-forgery token";
    case WEBAPI_ERR_CREDENTIALS_IN_URL:
        return "Refused: the password and one-time code go in the request body, never in the URL";
    default:
        return "Unknown error";
    }
}

} // namespace KOVA
