// Carries the node-channel requests of client objects to this module's own handlers, in
// process, for as long as the object lives: the method is looked up in the module's table, its
// handler runs against the recording double, and its response comes back as the reply a
// remote node sends ({"success":true,"data":...} or {"success":false,"error":{"code":N}}). So
// a client test can show that what a client sends is what the handler of its method reads,
// and that what the handler answers is what the client reads.
#pragma once

#include <kova/APIRequest.h>
#include <kova/APIResponse.h>
#include <kova/APITable.h>
#include <net/NodeChannel.h>

#include <json/json.h>

#include <string>

namespace KOVATest {

class ClientLoopback {
public:
    ClientLoopback() { SetNodeChannelForwarder(&Forward); }
    ~ClientLoopback() { SetNodeChannelForwarder(NodeChannelForwarder()); }
    ClientLoopback(const ClientLoopback&) = delete;
    ClientLoopback& operator=(const ClientLoopback&) = delete;

private:
    // A method the table does not hold fails as a node channel that cannot deliver.
    static bool Forward(const std::string& /*uuid*/, const std::string& api, const std::string& method,
                        int version, const Json::Value& params, Json::Value& reply)
    {
        for (const KOVA::APITableRow* row = GetAPITable(); row->api; ++row) {
            if (api != row->api || method != row->method || version != row->version)
                continue;
            KOVA::APIRequest request(params, "127.0.0.1", "admin", "sid");
            KOVA::APIResponse response;
            row->handler(&request, &response);
            reply = Json::Value(Json::objectValue);
            reply["success"] = response.GetError() == 0;
            if (response.GetError() != 0)
                reply["error"]["code"] = response.GetError();
            else
                reply["data"] = response.GetData();
            return true;
        }
        return false;
    }
};

} // namespace KOVATest
