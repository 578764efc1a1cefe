// One web-API request over the credential library, as the node channel and the remote calls of
// making a node send it: discovery of the API's path, the request with the session of sess, and
// the reply parsed.
#pragma once

#include <kova/Cred.h>

#include <json/json.h>

#include <string>

namespace KOVA {
namespace Net {

// 0 with reply (a JSON object: any envelope, the remote's error included), or a KOVA_CRED_ERR_*
// code.
int SendRequest(KOVACred* cred, KOVACredSess* sess, const std::string& api, const std::string& method,
                int version, const Json::Value& params, Json::Value& reply);

} // namespace Net
} // namespace KOVA
