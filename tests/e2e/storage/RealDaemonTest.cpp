#include "RealDaemonTest.h"

#include <fcntl.h>
#include <unistd.h>

#include <utility>

namespace KOVATest {

void WriteAt(const std::string& path, off_t offset, const std::string& text)
{
    const int fd = ::open(path.c_str(), O_WRONLY);
    ASSERT_GE(fd, 0) << path;
    ASSERT_EQ(static_cast<ssize_t>(text.size()), ::pwrite(fd, text.data(), text.size(), offset));
    ::fsync(fd);
    ::close(fd);
}

std::string ReadAt(const std::string& path, off_t offset, std::size_t length)
{
    std::string out(length, '\0');
    const int fd = ::open(path.c_str(), O_RDONLY);
    if (fd < 0)
        return "<no file>";
    const ssize_t got = ::pread(fd, &out[0], length, offset);
    ::close(fd);
    out.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return out;
}

std::string CallBody(const std::string& api, const std::string& method, const std::string& paramsJson)
{
    return R"({"api":")" + api + R"(","version":1,"method":")" + method + R"(","params":)" + paramsJson + "}";
}

RealDaemonTest::RealDaemonTest(std::string api) : api_(std::move(api)) {}

void RealDaemonTest::TearDown()
{
    // The client's open connection would hold up the daemon's stop.
    client_.reset();
    daemon_.reset();
}

void RealDaemonTest::StartDaemon(const std::vector<std::string>& args, const std::vector<std::string>& env)
{
    client_.reset();
    daemon_.reset();
    DaemonProcess::Config config;
    config.loadDoubleModule = false;
    config.args = {"--module", KOVA_REAL_MODULE_PATH};
    config.args.insert(config.args.end(), args.begin(), args.end());
    config.env = env;
    daemon_.reset(new DaemonProcess(config));
    ASSERT_TRUE(daemon_->Running()) << "the daemon did not start: " << daemon_->Stderr();
    client_.reset(new HttpClient());
    ASSERT_FALSE(daemon_->Login(*client_).empty());
    volume1_ = daemon_->DataDir() + "/volume1";
}

HttpResult RealDaemonTest::Post(const std::string& method, const std::string& paramsJson,
                                const std::string& api)
{
    return client_->Post(daemon_->EntryUrl(), CallBody(api.empty() ? api_ : api, method, paramsJson));
}

Json::Value RealDaemonTest::Call(const std::string& method, const std::string& paramsJson,
                                 const std::string& api)
{
    const HttpResult result = Post(method, paramsJson, api);
    EXPECT_TRUE(result.Ok()) << method;
    return result.Json();
}

Json::Value RealDaemonTest::Succeed(const std::string& method, const std::string& paramsJson,
                                    const std::string& api)
{
    const Json::Value reply = Call(method, paramsJson, api);
    EXPECT_TRUE(reply["success"].asBool()) << method << " " << paramsJson << ": " << reply.toStyledString();
    return reply["data"];
}

int RealDaemonTest::Fail(const std::string& method, const std::string& paramsJson, const std::string& api)
{
    const Json::Value reply = Call(method, paramsJson, api);
    EXPECT_FALSE(reply["success"].asBool()) << method << " " << paramsJson;
    return reply["error"]["code"].asInt();
}

std::string RealDaemonTest::Image(const std::string& uuid) const
{
    return volume1_ + "/@iscsi/" + uuid + ".img";
}

} // namespace KOVATest
