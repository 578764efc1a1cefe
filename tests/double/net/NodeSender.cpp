// Recording double of the node channel: see NodeChannel.h.
#include "NodeChannel.h"

#include "../LibDouble.h"

#include <kova/NodeSender.h>

#include <mutex>

using namespace KOVATest;

namespace {

std::mutex forwarderMutex;
NodeChannelForwarder forwarderFunction;

} // namespace

namespace KOVATest {

void SetNodeChannelForwarder(NodeChannelForwarder forwarder)
{
    std::lock_guard<std::mutex> lock(forwarderMutex);
    forwarderFunction = std::move(forwarder);
}

} // namespace KOVATest

namespace KovaDRNode {

NodeSender::NodeSender() = default;

NodeSender::~NodeSender() = default;

bool NodeSender::process(const std::string& uuid, const std::string& api, const std::string& method,
                         int version, const Json::Value& params, Json::Value& reply)
{
    const LibResult r =
        LibDouble::Get().Record("NodeSender::process", Args(uuid, api, method, version, params));
    if (!r.scripted) {
        NodeChannelForwarder forwarder;
        {
            std::lock_guard<std::mutex> lock(forwarderMutex);
            forwarder = forwarderFunction;
        }
        if (forwarder)
            return forwarder(uuid, api, method, version, params, reply);
    }
    Output(r, "reply", reply);
    return r.code == 0;
}

} // namespace KovaDRNode
