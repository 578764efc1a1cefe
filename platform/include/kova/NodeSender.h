// The node channel: carries a web-API request to another appliance known by its node uuid.
#pragma once

#include <json/json.h>

#include <string>

namespace KovaDRNode {

class NodeSender {
public:
    NodeSender();
    virtual ~NodeSender();

    // Sends the request to the node of uuid and parses its reply into reply; false on
    // failure (unknown node, transport error, unparsable reply).
    bool process(const std::string& uuid, const std::string& api, const std::string& method, int version,
                 const Json::Value& params, Json::Value& reply);

    // The code of the last failed process (KOVA_CRED_ERR_* or KOVA_NODE_ERR_* of kova/Cred.h,
    // or the node configuration's own code), 0 after a success.
    int lastError() const { return lastError_; }

private:
    int lastError_ = 0;
};

} // namespace KovaDRNode
