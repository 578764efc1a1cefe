// Elements of array parameters are read the same way by every API: with JsonCpp's own
// conversion (asString, asInt). A number, a boolean or null becomes its text (null the empty
// text) and so names no word of `additional`; an array or an object cannot be converted, the
// conversion throws Json::LogicError before the library is called, and the runtime answers
// that with its code 100.
#include "HandlerTest.h"

#include "lun/WebAPIServerLUN.h"
#include "node/WebAPIServerNode.h"
#include "target/WebAPIServerTarget.h"

#include <kova/JsonText.h>

#include <string>
#include <vector>

namespace {

using KOVATest::Answer;

// A method with an `additional` parameter: its handler, the other parameters it needs, and one
// word it knows.
struct AdditionalMethod {
    const char* name;
    KOVA::APIHandler handler;
    const char* params;
    const char* word;
};

const AdditionalMethod kAdditionalMethods[] = {
    {"LUN.list", ISCSI::WebAPI::APILUN::List, "{}", "is_mapped"},
    {"LUN.get", ISCSI::WebAPI::APILUN::Get, R"({"uuid":"lun1"})", "is_mapped"},
    {"LUN.list_snapshot", ISCSI::WebAPI::APILUN::ListSnapshot, R"({"src_lun_uuid":"lun1"})",
     "locked_app_keys"},
    {"LUN.get_snapshot", ISCSI::WebAPI::APILUN::GetSnapshot, R"({"snapshot_uuid":"snap1"})", "export_status"},
    {"Target.list", ISCSI::WebAPI::APITarget::List, "{}", "acls"},
    {"Target.get", ISCSI::WebAPI::APITarget::Get, R"({"target_id":"2"})", "acls"},
    {"Node.get", ISCSI::WebAPI::APINode::Get, "{}", "no_status"},
    {"Node.log_list", ISCSI::WebAPI::APINode::LogList, "{}", "unread"},
};

// params with the member name set to the JSON text value.
std::string With(const std::string& params, const std::string& name, const std::string& value)
{
    Json::Value object = KOVATest::ParseJson(params);
    object[name] = KOVATest::ParseJson(value);
    return KOVA::toString(object);
}

bool IsResolutionOrConstructor(const std::string& op)
{
    const size_t colons = op.find("::");
    if (colons != std::string::npos && op.substr(0, colons) == op.substr(colons + 2))
        return true;
    return op.find("GetLunUuid") != std::string::npos || op.find("GetSnapshotUuid") != std::string::npos ||
           op.find("GetTid") != std::string::npos;
}

class ArrayElementsTest : public KOVATest::HandlerTest {
protected:
    // The library calls of one fresh call of handler.
    std::string CallsOf(KOVA::APIHandler handler, const std::string& params)
    {
        SetUp();
        Call(handler, params);
        return LibCalls();
    }
};

TEST_F(ArrayElementsTest, ScalarElementsOfAdditionalAreReadAsTextAndNameNoWordInEveryAPI)
{
    for (const AdditionalMethod& m : kAdditionalMethods) {
        const std::string word = std::string("\"") + m.word + "\"";
        const std::string expected = CallsOf(m.handler, With(m.params, "additional", "[" + word + "]"));
        EXPECT_NE(expected, CallsOf(m.handler, m.params)) << m.name << ": the word must change the calls";
        EXPECT_EQ(expected,
                  CallsOf(m.handler, With(m.params, "additional", "[5,true,null,1.5,-2," + word + ",\"\"]")))
            << m.name;
    }
}

TEST_F(ArrayElementsTest, ArrayOrObjectElementsOfAdditionalThrowBeforeTheLibraryInEveryAPI)
{
    for (const AdditionalMethod& m : kAdditionalMethods) {
        const std::string word = std::string("\"") + m.word + "\"";
        for (const std::string& element : {"[" + word + "]", "{" + word + ":true}"}) {
            SetUp();
            const std::string params = With(m.params, "additional", "[" + word + "," + element + "]");
            EXPECT_THROW(Call(m.handler, params), Json::LogicError) << m.name << " " << element;
            // Only the resolution of the named object and the making of the library's object
            // (a constructor, "X::X") may have run; nothing was loaded by flags.
            for (const std::string& op : Lib().Ops())
                EXPECT_TRUE(IsResolutionOrConstructor(op)) << m.name << " called " << op;
        }
    }
}

TEST_F(ArrayElementsTest, NodeAddNodeReadsThePortWithAsIntWhichRefusesText)
{
    // A port given as text is no integer to asInt: JsonCpp throws.
    const std::string textPort =
        R"({"uuid":"a","session_id":"s","hostname":"h","port":"3260","protocol":"https",)"
        R"("rod_key":"k","account":"admin"})";
    EXPECT_THROW(Call(ISCSI::WebAPI::APINode::AddNode, "{\"nodes\":[" + textPort + "]}"), Json::LogicError);
    EXPECT_EQ(LibCalls(), "");
}

TEST_F(ArrayElementsTest, NodeDeleteNodeAndTargetMapLunReadNumbersAsTheirText)
{
    Call(ISCSI::WebAPI::APINode::DeleteNode, R"({"uuids":[7]})");
    EXPECT_NE(LibCalls().find("\"7\""), std::string::npos) << LibCalls();
    SetUp();
    Call(ISCSI::WebAPI::APITarget::MapLUN, R"({"target_id":"3","lun_uuids":[12]})");
    EXPECT_NE(LibCalls().find("GetLunUuid([\"12\""), std::string::npos) << LibCalls();
    SetUp();
    EXPECT_THROW(Call(ISCSI::WebAPI::APITarget::MapLUN, R"({"target_id":"3","lun_uuids":[["x"]]})"),
                 Json::LogicError);
    SetUp();
    EXPECT_THROW(Call(ISCSI::WebAPI::APINode::DeleteNode, R"({"uuids":[{"a":1}]})"), Json::LogicError);
}

TEST_F(ArrayElementsTest, TargetAclElementsThatAreNoObjectsThrowBeforeTheLibrary)
{
    for (const char* element : {"7", "\"rw\"", "[\"rw\"]"}) {
        SetUp();
        EXPECT_THROW(Call(ISCSI::WebAPI::APITarget::ACLMasksAdd,
                          std::string(R"({"target_id":"6","acls":[)") + element + "]}"),
                     Json::LogicError)
            << element;
        EXPECT_TRUE(Lib().CallsOf("ISCSILIBTarget::aclMasksAdd").empty()) << element;
    }
    // A null element has no members: its permission is the empty text, which ends the method.
    SetUp();
    auto r = Call(ISCSI::WebAPI::APITarget::ACLMasksAdd, R"({"target_id":"6","acls":[null]})");
    EXPECT_EQ(Answer(r), "none");
    EXPECT_TRUE(Lib().CallsOf("ISCSILIBTarget::aclMasksAdd").empty());
}

} // namespace
