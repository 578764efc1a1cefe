// The root of the module's client classes: one request of a web-API method performed on
// another appliance. A caller builds a leaf class (WebAPIClientLUNCreate, ...) with the
// destination node and the method's fields, calls send, and reads the leaf's result fields;
// toString gives a text for logs.
//
// The three ways of carrying a request:
//   sendRequestBySessionID: with the session id of the destination node (optionally reloaded
//     from the node configuration first), through the credential library;
//   sendRequestByAccount: logging in on the node with its account, password and one-time code,
//     sending, and logging out again, through the credential library;
//   sendRequestByDrNode: through the node channel, which finds the node by its uuid.
// Each answers 0, a code of its own (ISCSI_ERR_CLIENT_*), or the "error"."code" of the reply.
#pragma once

#include <iscsi/ISCSINodeInfo.h>

#include <json/json.h>

#include <string>

namespace ISCSI {
namespace WebAPI {

enum {
    ISCSI_ERR_CLIENT_ALLOC = 18990001,       // no connection or session description
    ISCSI_ERR_CLIENT_INVALID = 18990004,     // the request object is invalid
    ISCSI_ERR_CLIENT_NO_API_PATH = 18990200, // the remote side has no path for the API
    ISCSI_ERR_CLIENT_LOGIN = 18990205,       // the login on the remote side failed
    ISCSI_ERR_CLIENT_NO_REQUEST = 18990207,  // no request object could be made
    ISCSI_ERR_CLIENT_BAD_REPLY = 18990208,   // the reply is not JSON
    ISCSI_ERR_CLIENT_SEND_FAILED = 18990211, // the request could not be carried out
};

class WebAPIClient {
public:
    WebAPIClient();
    explicit WebAPIClient(const ISCSI::ISCSINodeInfo& node);
    virtual ~WebAPIClient();

    // Fills the request, sends it by the leaf's path and reads the reply into the leaf.
    virtual int send() = 0;
    // True when the object lacks what its request needs; such an object is never sent.
    virtual bool isInvalid() const = 0;

    int sendRequestBySessionID(bool reload);
    int sendRequestByAccount();
    int sendRequestByDrNode();

    // "Dst node: [<node>] [api: <api> ,method: <method> ,version: <version>]"
    std::string toString() const;

    ISCSI::ISCSINodeInfo dst_node;
    std::string api;
    std::string method;
    int version;
    Json::Value params;
    // The reply as text; stays empty on the node channel, which hands over parsed replies.
    std::string response_text;
    Json::Value response;

protected:
    // Starts the request of methodName of apiName, version 1, with an empty parameter object.
    void beginRequest(const char* apiName, const char* methodName);
    // The member "data" of the reply; null when there is none (or it is no object).
    const Json::Value& replyData() const;
    // "[Response: <response text>]", the end of every leaf's text.
    std::string responseText() const;
};

} // namespace WebAPI
} // namespace ISCSI
