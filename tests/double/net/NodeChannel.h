// The recording double of the credential library and the node channel (kova/Cred.h,
// kova/NodeSender.h), on the storage library's double (LibDouble.h): each call is logged as
// "Op(args)" and answers its script.
//
// Allocations ("KOVACredAlloc", "KOVACredSessAlloc") and "CredRequest::CreateWebAPIRequest"
// answer null, "CredRequestUtil::LoginWithOTP" answers 0, "CredRequest::Process" and
// "NodeSender::process" answer false, and "CredRequestUtil::GetWebAPIPath" answers "" when a
// non-zero code is scripted for them; setters answer their scripted code (negative: failure).
// Outputs: "path" of GetWebAPIPath (default "entry"), "reply" of LoginWithOTP and of
// NodeSender::process, "error" of CredRequest::GetError, "response" of CredRequest::GetResponse.
// A request object's deletion is logged as "CredRequest::delete".
#pragma once

#include <json/json.h>

#include <functional>
#include <string>

namespace KOVATest {

// Carries a node-channel request somewhere real (for example over HTTP to a daemon): called by
// NodeSender::process for calls that have no script, after they are logged.
using NodeChannelForwarder =
    std::function<bool(const std::string& uuid, const std::string& api, const std::string& method,
                       int version, const Json::Value& params, Json::Value& reply)>;
// Sets the forwarder (an empty function removes it).
void SetNodeChannelForwarder(NodeChannelForwarder forwarder);

} // namespace KOVATest
