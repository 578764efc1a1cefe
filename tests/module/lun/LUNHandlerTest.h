// The fixture of the LUN and snapshot handler tests: the uuids the tests resolve to, the
// log lines the handlers write, and table-driven checks of refused parameters and of the
// order in which a method tests them.
#pragma once

#include "HandlerTest.h"

#include <string>
#include <vector>

namespace KOVATest {
namespace LUNTests {

// The source of the handlers, as their log lines name it.
const std::string SOURCE = "WebAPIServerLUN.cpp";

const std::string LUN_UUID = "0a1b2c3d-4e5f-6a7b-8c9d-0e1f2a3b4c5d";
const std::string SNAP_UUID = "5a5a5a5a-0000-1111-2222-333333333333";

// The compact text of a parameter object, as the log lines show it.
inline std::string Text(const std::string& json)
{
    return KOVA::toString(ParseJson(json));
}

inline std::string DebugLine(const std::string& function, const std::string& params)
{
    return KOVATest::FrameDebugLine(SOURCE, function, Text(params));
}

inline std::string ErrorLine(const std::string& function, int code, const std::string& params)
{
    return KOVATest::FrameErrorLine(SOURCE, function, code, Text(params));
}

// params with key set to the JSON value text, or without key when value is empty.
inline std::string With(const std::string& params, const std::string& key, const std::string& value)
{
    Json::Value j = ParseJson(params);
    if (value.empty())
        j.removeMember(key);
    else
        j[key] = ParseJson("{\"v\":" + value + "}")["v"];
    return KOVA::toString(j);
}

inline Json::Value Out(const std::string& name, const Json::Value& value)
{
    Json::Value out(Json::objectValue);
    out[name] = value;
    return out;
}

// A parameter given with a bad value and the code the method answers for it.
struct Refusal {
    const char* key;
    const char* value; // JSON text; empty: the key is left out
    int code;
};

class LUNHandlerTest : public HandlerTest {
protected:
    void ResolveLun(const std::string& uuid = LUN_UUID)
    {
        Lib().Script("ISCSILUNInfo::GetLunUuid", 0, Out("uuid", uuid));
    }
    void ResolveSnapshot(const std::string& uuid = SNAP_UUID)
    {
        Lib().Script("ISCSISnapshotInfo::GetSnapshotUuid", 0, Out("uuid", uuid));
    }

    // Each refusal answers its code before any library call, with the method's log lines.
    void ExpectRefusals(KOVA::APIHandler handler, const std::string& function, bool hasDebugLine,
                        const std::string& valid, const std::vector<Refusal>& refusals)
    {
        for (const Refusal& refusal : refusals) {
            SetUp();
            const std::string params = With(valid, refusal.key, refusal.value);
            auto r = Call(handler, params);
            EXPECT_EQ(Answer(r), "error " + std::to_string(refusal.code)) << params;
            EXPECT_EQ(LibCalls(), "") << params;
            EXPECT_EQ(Log(), (hasDebugLine ? DebugLine(function, params) : std::string()) +
                                 ErrorLine(function, refusal.code, params))
                << params;
        }
    }

    // Starting from params, each step mends one parameter; the answer is then the code of the
    // next parameter that is still bad.
    void ExpectCheckOrder(KOVA::APIHandler handler, std::string params, const std::vector<Refusal>& steps)
    {
        for (const Refusal& step : steps) {
            SetUp();
            EXPECT_EQ(Answer(Call(handler, params)), "error " + std::to_string(step.code)) << params;
            EXPECT_EQ(LibCalls(), "") << params;
            params = With(params, step.key, step.value);
        }
    }
};

// The library object of a handler that works on an existing LUN.
inline std::string LunObject(const std::string& uuid = LUN_UUID)
{
    return "ISCSILIBLUN::ISCSILIBLUN([\"" + uuid + "\",false,false,false])\n";
}

} // namespace LUNTests
} // namespace KOVATest
