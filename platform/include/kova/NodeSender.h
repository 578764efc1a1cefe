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
};

} // namespace KovaDRNode
