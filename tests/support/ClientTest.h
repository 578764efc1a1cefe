// Fixture of the client-class tests: a clean recording double (storage library, credential
// library and node channel) and syslog capture for each test, a destination node, and the
// request and reply of the node channel in compact form.
#pragma once

#include "HandlerTest.h"

#include <iscsi/ISCSINodeInfo.h>
#include <webapi-iSCSI/etc/WebAPIClient.h>

#include <initializer_list>
#include <string>

namespace KOVATest {

class ClientTest : public HandlerTest {
protected:
    // A node reached by its uuid: valid for the node channel and the reloading session path.
    static ISCSI::ISCSINodeInfo Node();
    // The text of Node() as the root's toString shows it.
    static std::string NodeText();

    // The next node-channel send succeeds with this reply (a JSON text).
    void ReplyByNode(const std::string& replyText);
    // The next node-channel send fails.
    void FailByNode();

    // The one node-channel request sent so far, as
    // "uuid api method version params" (params in compact JSON); "" when none was sent.
    std::string SentByNode() const;
    // The parameters of that request, as compact JSON; "" when none was sent.
    std::string SentParams() const;
    // True when the client touched neither the credential library nor the node channel.
    bool NothingSent() const;
    // An invalid client: isInvalid is true, send answers 18990004 and nothing is sent.
    void ExpectRefused(ISCSI::WebAPI::WebAPIClient& client);
    // The parameters of the node-channel request, as JSON (the test fails when none was sent).
    Json::Value SentJson() const;

    // The root's text of a client before its "[api: ...]" part is filled: what every leaf's
    // toString starts with.
    static std::string RootText(const std::string& api, const std::string& method, int version);

    // Expects client to be invalid, to answer send with 18990004, and to have touched neither
    // the credential library nor the node channel (in this test so far).
    void ExpectRefusedUnsent(ISCSI::WebAPI::WebAPIClient&& client);
    // Sends each client (from a clean double) and expects it to answer 0, to have sent exactly
    // one request of version 1 of api over the node channel, and to have touched no part of the
    // credential library.
    void ExpectEachSentByNodeChannelAlone(std::initializer_list<ISCSI::WebAPI::WebAPIClient*> clients,
                                          const std::string& api);
};

} // namespace KOVATest
