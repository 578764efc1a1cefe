// The shared vocabulary: LUN and replication type names, byte sizes, locations, reply errors.
#include "etc/WebAPIVocabulary.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

using namespace ISCSI::WebAPI;

TEST(Vocabulary, LUNTypeFromStringThinIs7UpperThinIs7Text7Is7Text7abcIs7Text8Is0EmptyIs0)
{
    EXPECT_EQ(LUNTypeFromString("thin"), 7);
    EXPECT_EQ(LUNTypeFromString("THIN"), 7);
    EXPECT_EQ(LUNTypeFromString("7"), 7);
    EXPECT_EQ(LUNTypeFromString("7abc"), 7);
    EXPECT_EQ(LUNTypeFromString("8"), 0);
    EXPECT_EQ(LUNTypeFromString(""), 0);
}

TEST(Vocabulary, ATypeNameLongerThan63CharactersFallsToTheNumberRule)
{
    const std::string longName = "BLOCK" + std::string(70, ' ');
    EXPECT_EQ(LUNTypeFromString(longName.c_str()), 0);
    const std::string longNumber = "263" + std::string(70, 'x');
    EXPECT_EQ(LUNTypeFromString(longNumber.c_str()), 263);
}

TEST(Vocabulary, EveryLUNTypeNameGivesItsIdAndTheIdsAreTheTwentyTwo)
{
    std::set<int> ids;
    for (const LUNTypeName& row : LUNTypeNames) {
        EXPECT_EQ(LUNTypeFromString(row.text), row.id) << row.text;
        EXPECT_EQ(LUNTypeFromNumber(std::to_string(row.id).c_str()), row.id);
        ids.insert(row.id);
    }
    EXPECT_EQ(ids, (std::set<int>{1,   3,   7,   15,  31,  71, 79,  143, 391, 387, 263,
                                  279, 259, 275, 327, 323, 47, 295, 311, 291, 807, 1831}));
}

TEST(Vocabulary, LUNTypeFromNumberToleratesLeadingBlanks)
{
    EXPECT_EQ(LUNTypeFromNumber("  15"), 15);
    EXPECT_EQ(LUNTypeFromNumber("cinder"), 0);
}

TEST(Vocabulary, AThickNameIsItsPlainNameWithoutTheThinBit)
{
    EXPECT_EQ(LUNTypeFromString("BLUN") & ~ISCSI_LUN_BIT_THIN, LUNTypeFromString("BLUN_THICK"));
    EXPECT_EQ(LUNTypeFromString("vdisk_blun") & ~ISCSI_LUN_BIT_THIN, LUNTypeFromString("VDISK_BLUN_THICK"));
}

TEST(Vocabulary, AReplicationTypeOf7PrintsUnknownAndSoDoesAnyIdOutsideTheTable)
{
    EXPECT_STREQ(RepTypeToString(static_cast<_tag_iscsi_rep_type>(7)), "UNKNOWN");
    EXPECT_STREQ(RepTypeToString(static_cast<_tag_iscsi_rep_type>(0)), "UNKNOWN");
    EXPECT_STREQ(RepTypeToString(static_cast<_tag_iscsi_rep_type>(1000)), "UNKNOWN");
    EXPECT_STREQ(RepTypeToString(ISCSI_REP_TYPE_ADV_SRC), "ADV_SRC");
    EXPECT_STREQ(RepTypeToString(ISCSI_REP_TYPE_LOCAL_BLUN_THICK_DST), "LOCAL_BLUN_THICK_DST");
    EXPECT_STREQ(RepTypeToString(static_cast<_tag_iscsi_rep_type>(89)), "LOCAL_VDISK_BLUN_SRC");
}

TEST(Vocabulary, OnlyTheFourteenNamedReplicationTypesAreTypeIds)
{
    int named = 0;
    for (long id = -1; id <= 128; ++id) {
        const bool hasName =
            std::string(RepTypeToString(static_cast<_tag_iscsi_rep_type>(id < 0 ? 0 : id))) != "UNKNOWN";
        EXPECT_EQ(IsRepTypeId(id), id >= 0 && hasName) << id;
        named += IsRepTypeId(id) ? 1 : 0;
    }
    EXPECT_EQ(named, 14);
    EXPECT_FALSE(IsRepTypeId(7));
    EXPECT_FALSE(IsRepTypeId(1000));
    EXPECT_TRUE(IsRepTypeId(ISCSI_REP_TYPE_LOCAL_BLUN_THICK_DST));
}

TEST(Vocabulary, FormatByteSizeExamples)
{
    EXPECT_EQ(FormatByteSize(0), "0bytes");
    EXPECT_EQ(FormatByteSize(1024), "1KB");
    EXPECT_EQ(FormatByteSize(1536), "1KB,512bytes");
    EXPECT_EQ(FormatByteSize(1048577), "1MB,1bytes");
    EXPECT_EQ(FormatByteSize(1073741824), "1GB");
    EXPECT_EQ(FormatByteSize(1023), "1023bytes");
}

TEST(Vocabulary, FormatByteSizeOfTheLargest64BitValueHasAllSevenUnitsBeginningWith15EB)
{
    EXPECT_EQ(FormatByteSize(18446744073709551615ull), "15EB,1023PB,1023TB,1023GB,1023MB,1023KB,1023bytes");
}

TEST(Vocabulary, VolumePathOfLocationOfTheEmptyStringIsEmptyAndOfASubPathToo)
{
    EXPECT_EQ(VolumePathOfLocation(""), "");
    EXPECT_EQ(VolumePathOfLocation("/volume1/a/b"), "");
    EXPECT_EQ(VolumePathOfLocation("/volume1"), "/volume1");
    EXPECT_EQ(VolumePathOfLocation("/volume1/"), "/volume1");
    EXPECT_EQ(VolumePathOfLocation("/volume1x"), "/volume1");
    EXPECT_EQ(VolumePathOfLocation("/volume12"), "/volume12");
    EXPECT_EQ(VolumePathOfLocation("/mnt"), "");
}

TEST(Vocabulary, FindErrorMemberOfAReplyWithoutErrorIsNull)
{
    Json::Value reply;
    reply["data"]["code"] = 5;
    EXPECT_EQ(FindErrorMember(reply, "code"), nullptr);
    EXPECT_EQ(FindErrorMember(Json::Value(), "code"), nullptr);
    EXPECT_EQ(FindErrorMember(Json::Value("text"), "code"), nullptr);
    reply["error"] = Json::Value(Json::objectValue);
    EXPECT_EQ(FindErrorMember(reply, "code"), nullptr);
    reply["error"]["code"] = 18990505;
    ASSERT_NE(FindErrorMember(reply, "code"), nullptr);
    EXPECT_EQ(FindErrorMember(reply, "code")->asInt(), 18990505);
    reply["error"] = "not an object";
    EXPECT_EQ(FindErrorMember(reply, "code"), nullptr);
}

} // namespace
