// The fixture of the storage end-to-end tests: the real daemon with the shipped module and the
// real storage library on its own data directory, a logged-in client, and calls of one API's
// methods; with the file helpers the tests use on the volume's LUN files.
#pragma once

#include "DaemonProcess.h"
#include "HttpClient.h"

#include <gtest/gtest.h>

#include <sys/types.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace KOVATest {

// Writes text at offset of path (which must exist) and syncs it; fails the test when it cannot.
void WriteAt(const std::string& path, off_t offset, const std::string& text);

// Up to length bytes of path from offset; "<no file>" when it cannot be opened.
std::string ReadAt(const std::string& path, off_t offset, std::size_t length);

// The request body of a call of api's method with the parameters paramsJson.
std::string CallBody(const std::string& api, const std::string& method, const std::string& paramsJson);

class RealDaemonTest : public ::testing::Test {
protected:
    // api: the API of the calls that name none.
    explicit RealDaemonTest(std::string api);

    void TearDown() override;

    // Starts the daemon with the real module, the further arguments args and the environment
    // env, and logs a new client in; a daemon started before is stopped first.
    void StartDaemon(const std::vector<std::string>& args = {}, const std::vector<std::string>& env = {});

    // Posts a call of method; api empty is the fixture's API.
    HttpResult Post(const std::string& method, const std::string& paramsJson = "{}",
                    const std::string& api = "");

    // Posts a call that must be answered; answers the reply.
    Json::Value Call(const std::string& method, const std::string& paramsJson = "{}",
                     const std::string& api = "");

    // Calls a method that must succeed; answers "data".
    Json::Value Succeed(const std::string& method, const std::string& paramsJson = "{}",
                        const std::string& api = "");

    // Calls a method that must fail; answers its code.
    int Fail(const std::string& method, const std::string& paramsJson = "{}", const std::string& api = "");

    // The LUN file of uuid on /volume1.
    std::string Image(const std::string& uuid) const;

    std::unique_ptr<DaemonProcess> daemon_;
    std::unique_ptr<HttpClient> client_;
    std::string volume1_; // the directory of /volume1

private:
    std::string api_;
};

} // namespace KOVATest
