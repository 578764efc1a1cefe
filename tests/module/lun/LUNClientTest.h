// Fixture of the tests of the client classes of KOVA.Core.ISCSI.LUN: the texts of the root and
// the family, the request as the node channel carried it, and the refusal of an invalid object.
#pragma once

#include "ClientTest.h"

#include <webapi-iSCSI/lun/WebAPIClientLUN.h>

#include <string>
#include <vector>

namespace KOVATest {

class LUNClient : public ClientTest {
protected:
    // The root's text after send of method.
    static std::string Root(const std::string& method) { return RootText("KOVA.Core.ISCSI.LUN", method, 1); }
    // The root's text before send: no api, method or version yet.
    static std::string Unsent() { return RootText("", "", 0); }
    // The family's text.
    static std::string Family(const std::string& uuid, int lun_id = 0, const std::string& name = "",
                              int type = 0, const std::string& location = "", unsigned long long size = 0,
                              unsigned int extent_size = 0)
    {
        return "LUN: [uuid: " + uuid + " ,lun_id: " + std::to_string(lun_id) + " ,name: " + name +
               " ,type: " + std::to_string(type) + " ,location: " + location +
               " ,size: " + std::to_string(size) + " ,extent_size: " + std::to_string(extent_size) + "]";
    }
    // The request of method with params (compact JSON) as the node channel carried it to Node().
    static std::string Sent(const std::string& method, const std::string& params)
    {
        return "node-b-uuid KOVA.Core.ISCSI.LUN " + method + " 1 " + params;
    }
    // The parameters of the last request sent, with the JSON types the client gave them; null
    // when nothing was sent.
    Json::Value SentJson() const
    {
        const std::vector<LibCall> calls = LibDouble::Get().CallsOf("NodeSender::process");
        return calls.empty() ? Json::Value() : calls.back().args[4];
    }
    static ISCSI::ISCSINodeInfo NoNode() { return ISCSI::ISCSINodeInfo(); }

    // An invalid object: isInvalid says so, send answers 18990004, and nothing was sent.
    void ExpectRefused(ISCSI::WebAPI::WebAPIClient&& client) const { ExpectRefused(client); }
    void ExpectRefused(ISCSI::WebAPI::WebAPIClient& client) const
    {
        EXPECT_TRUE(client.isInvalid());
        EXPECT_EQ(client.send(), 18990004);
        EXPECT_TRUE(NothingSent());
    }
};

// A leaf class and its method, for the typed tests of twin leaves that differ only in the
// method they call.
template <typename C, const char* M> struct LeafCase {
    using Client = C;
    static std::string Method() { return M; }
};

} // namespace KOVATest
