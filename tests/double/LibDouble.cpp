#include "LibDouble.h"

#include <kova/JsonText.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace KOVATest {

LibDouble& LibDouble::Get()
{
    static LibDouble instance;
    return instance;
}

LibDouble::LibDouble()
{
    if (const char* calls = std::getenv("KOVA_DOUBLE_CALLS"))
        callsFile_ = calls;
    const char* script = std::getenv("KOVA_DOUBLE_SCRIPT");
    if (!script)
        return;
    std::ifstream in(script);
    std::stringstream text;
    text << in.rdbuf();
    Json::Value answers;
    if (!KOVA::fromString(answers, text.str()) || !answers.isObject())
        return;
    for (const auto& op : answers.getMemberNames())
        standing_[op] =
            LibResult{answers[op]["code"].asInt(),
                      answers[op].isMember("out") ? answers[op]["out"] : Json::Value(Json::objectValue)};
}

void LibDouble::Reset()
{
    std::lock_guard<std::mutex> lock(mutex_);
    calls_.clear();
    queued_.clear();
    standing_.clear();
}

void LibDouble::Script(const std::string& op, int code, const Json::Value& out)
{
    std::lock_guard<std::mutex> lock(mutex_);
    queued_[op].push_back(LibResult{code, out, true});
}

void LibDouble::Script(const std::string& op, int code, const char* outText)
{
    Json::Value out;
    if (!KOVA::fromString(out, outText))
        out = Json::Value(Json::objectValue);
    Script(op, code, out);
}

void LibDouble::ScriptAlways(const std::string& op, int code, const Json::Value& out)
{
    std::lock_guard<std::mutex> lock(mutex_);
    standing_[op] = LibResult{code, out, true};
}

LibResult LibDouble::Record(const std::string& op, const Json::Value& args)
{
    std::lock_guard<std::mutex> lock(mutex_);
    calls_.push_back(LibCall{op, args});
    if (!callsFile_.empty())
        std::ofstream(callsFile_, std::ios::app) << op << "(" << KOVA::toString(args) << ")\n";
    auto q = queued_.find(op);
    if (q != queued_.end() && !q->second.empty()) {
        LibResult r = q->second.front();
        q->second.pop_front();
        return r;
    }
    auto s = standing_.find(op);
    if (s != standing_.end())
        return s->second;
    return LibResult{0, Json::Value(Json::objectValue), false};
}

std::vector<LibCall> LibDouble::Calls() const
{
    std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
}

std::vector<std::string> LibDouble::Ops() const
{
    std::vector<std::string> ops;
    for (const auto& c : Calls())
        ops.push_back(c.op);
    return ops;
}

std::vector<LibCall> LibDouble::CallsOf(const std::string& op) const
{
    std::vector<LibCall> of;
    for (const auto& c : Calls())
        if (c.op == op)
            of.push_back(c);
    return of;
}

std::string LibDouble::CallsText() const
{
    std::string text;
    for (const auto& c : Calls())
        text += c.op + "(" + KOVA::toString(c.args) + ")\n";
    return text;
}

} // namespace KOVATest
