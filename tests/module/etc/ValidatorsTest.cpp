// The parameter validators and their exact rules.
#include "etc/WebAPIValidators.h"

#include <gtest/gtest.h>

#include <climits>

namespace {

using namespace ISCSI::WebAPI;

TEST(Validators, AcceptAnyAcceptsEveryValueOfItsType)
{
    EXPECT_TRUE(AcceptAnyString(""));
    EXPECT_TRUE(AcceptAnyBool(false));
    EXPECT_TRUE(AcceptAnyInt(INT_MIN));
    EXPECT_TRUE(AcceptAnyUInt(0u));
    EXPECT_TRUE(AcceptAnyUInt64(0ull));
    EXPECT_TRUE(AcceptAnyJson(Json::Value()));
}

TEST(Validators, IsNonEmptyStringWantsOneCharacter)
{
    EXPECT_FALSE(IsNonEmptyString(""));
    EXPECT_TRUE(IsNonEmptyString(" "));
}

TEST(Validators, IsNonEmptyJsonRefusesNullEmptyArrayAndEmptyObject)
{
    EXPECT_FALSE(IsNonEmptyJson(Json::Value()));
    EXPECT_FALSE(IsNonEmptyJson(Json::Value(Json::arrayValue)));
    EXPECT_FALSE(IsNonEmptyJson(Json::Value(Json::objectValue)));
    Json::Value array(Json::arrayValue);
    array.append(1);
    EXPECT_TRUE(IsNonEmptyJson(array));
}

TEST(Validators, IntegerRanges)
{
    EXPECT_FALSE(IsPositiveInt(0));
    EXPECT_TRUE(IsPositiveInt(1));
    EXPECT_FALSE(IsNonNegativeInt(-1));
    EXPECT_TRUE(IsNonNegativeInt(0));
    EXPECT_FALSE(IsNonZeroUInt(0u));
    EXPECT_TRUE(IsNonZeroUInt(UINT_MAX));
    EXPECT_FALSE(IsNonZeroUInt64(0ull));
    EXPECT_TRUE(IsNonZeroUInt64(1ull));
}

TEST(Validators, IsValidSegmentBytes4095Fails4096Passes4097Fails8192Passes0Fails)
{
    EXPECT_FALSE(IsValidSegmentBytes(4095u));
    EXPECT_TRUE(IsValidSegmentBytes(4096u));
    EXPECT_FALSE(IsValidSegmentBytes(4097u));
    EXPECT_TRUE(IsValidSegmentBytes(8192u));
    EXPECT_FALSE(IsValidSegmentBytes(0u));
}

TEST(Validators, IsValidTargetId0Fails1Passes1024Passes1025FailsNegativeFails)
{
    EXPECT_FALSE(IsValidTargetId(0));
    EXPECT_TRUE(IsValidTargetId(1));
    EXPECT_TRUE(IsValidTargetId(1024));
    EXPECT_FALSE(IsValidTargetId(1025));
    EXPECT_FALSE(IsValidTargetId(-1));
}

TEST(Validators, IsValidPort0Fails65535Passes65536Fails)
{
    EXPECT_FALSE(IsValidPort(0));
    EXPECT_TRUE(IsValidPort(1));
    EXPECT_TRUE(IsValidPort(65535));
    EXPECT_FALSE(IsValidPort(65536));
}

TEST(Validators, IsValidAuthTypeIs0Or1Or2)
{
    EXPECT_TRUE(IsValidAuthType(0u));
    EXPECT_TRUE(IsValidAuthType(2u));
    EXPECT_FALSE(IsValidAuthType(3u));
}

TEST(Validators, IsValidVLUNTypeIs1To3)
{
    EXPECT_FALSE(IsValidVLUNType(0));
    EXPECT_TRUE(IsValidVLUNType(1));
    EXPECT_TRUE(IsValidVLUNType(3));
    EXPECT_FALSE(IsValidVLUNType(4));
    EXPECT_FALSE(IsValidVLUNType(-1));
    EXPECT_FALSE(IsValidVLUNType(INT_MIN));
}

TEST(Validators, IsValidExportFormatCSVInCapitalsFails)
{
    EXPECT_TRUE(IsValidExportFormat("csv"));
    EXPECT_TRUE(IsValidExportFormat("html"));
    EXPECT_FALSE(IsValidExportFormat("CSV"));
    EXPECT_FALSE(IsValidExportFormat("htm"));
    EXPECT_FALSE(IsValidExportFormat(""));
}

TEST(Validators, IsValidUuidThe36CharacterFormPassesATrailingBlankFails32DigitsWithoutHyphensFail)
{
    EXPECT_TRUE(IsValidUuid("0a1b2c3d-4e5f-6a7b-8c9d-0e1f2a3b4c5d"));
    EXPECT_TRUE(IsValidUuid("0A1B2C3D-4E5F-6A7B-8C9D-0E1F2A3B4C5D"));
    EXPECT_FALSE(IsValidUuid("0a1b2c3d-4e5f-6a7b-8c9d-0e1f2a3b4c5d "));
    EXPECT_FALSE(IsValidUuid("0a1b2c3d4e5f6a7b8c9d0e1f2a3b4c5d"));
    EXPECT_FALSE(IsValidUuid("0a1b2c3d-4e5f-6a7b-8c9d-0e1f2a3b4c5"));
    EXPECT_FALSE(IsValidUuid("0a1b2c3d-4e5f-6a7b-8c9d-0e1f2a3b4c5g"));
    EXPECT_FALSE(IsValidUuid(""));
}

TEST(Validators, IsValidObjectNameLun1PassesDashLunFailsLunUnderscore1FailsAUnderscore1Passes)
{
    EXPECT_TRUE(IsValidObjectName("lun-1"));
    EXPECT_FALSE(IsValidObjectName("-lun"));
    EXPECT_FALSE(IsValidObjectName("lun_1"));
    EXPECT_TRUE(IsValidObjectName("a_1"));
}

TEST(Validators, IsValidObjectNameCountsTheScanNotAPattern)
{
    EXPECT_FALSE(IsValidObjectName(""));
    EXPECT_TRUE(IsValidObjectName("a"));
    EXPECT_TRUE(IsValidObjectName("a!b"));      // second character outside the set: the rest is not looked at
    EXPECT_FALSE(IsValidObjectName("ab!"));     // a character left over after the run
    EXPECT_TRUE(IsValidObjectName("a.b:c\\d")); // dot, colon and backslash are in the set
    EXPECT_TRUE(IsValidObjectName("iqn.2026-01.org.example:vol1"));
}

TEST(Validators, IsValidObjectNameTakesAtMost257Characters)
{
    EXPECT_TRUE(IsValidObjectName(std::string(257, 'a')));
    EXPECT_FALSE(IsValidObjectName(std::string(258, 'a')));
}

TEST(Validators, IsValidVolumeLocationVolume2PassesVolume2SubFails)
{
    EXPECT_TRUE(IsValidVolumeLocation("/volume2"));
    EXPECT_FALSE(IsValidVolumeLocation("/volume2/sub"));
    EXPECT_TRUE(IsValidVolumeLocation("/volume1/"));
    EXPECT_TRUE(IsValidVolumeLocation("/volume1x"));
    EXPECT_FALSE(IsValidVolumeLocation("/volume"));
    EXPECT_FALSE(IsValidVolumeLocation("/mnt/x"));
    EXPECT_FALSE(IsValidVolumeLocation(""));
}

} // namespace
