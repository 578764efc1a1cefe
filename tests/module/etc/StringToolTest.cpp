// Copying texts into fixed-size fields.
#include "HandlerTest.h"

#include <webapi-iSCSI/etc/ISCSIWebAPIStringTool.h>

namespace {

using ISCSI::WebAPI::StringCopy;

class StringTool : public KOVATest::HandlerTest {};

TEST_F(StringTool, ATextOfTheFieldsSizeLessOneStillFits)
{
    char field[16];
    EXPECT_EQ(StringCopy(field, sizeof(field), std::string(15, 'e')), 0);
    EXPECT_EQ(std::string(field), std::string(15, 'e'));
    EXPECT_EQ(Log(), "");
}

TEST_F(StringTool, ATooLongTextIsLeftTruncatedLoggedAndAnswered18990025)
{
    char field[16];
    const std::string text(16, 'x');
    EXPECT_EQ(StringCopy(field, sizeof(field), text), 18990025);
    EXPECT_EQ(std::string(field), std::string(15, 'x'));
    EXPECT_EQ(Log(), "<3> iSCSI:ISCSIWebAPIStringTool.h:L:StringCopy Failed to copy string: " + text + "\n");
}

TEST_F(StringTool, AnyStreamableValueIsCopiedByItsText)
{
    char field[46];
    EXPECT_EQ(StringCopy(field, sizeof(field), 3260), 0);
    EXPECT_STREQ(field, "3260");
}

} // namespace
