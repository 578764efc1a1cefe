// The start-up check of stored names: rows written with bytes that are not UTF-8 (as requests
// could before the daemon checked their text) are found by their key, and clean ones are not.
#include "context/StoredNames.h"
#include "StorageTestSupport.h"
#include "config/ConfigDB.h"
#include "context/LibraryContext.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using ISCSI::Storage::BadStoredName;
using ISCSI::Storage::ConfigDB;
using ISCSI::Storage::LibraryContext;
using ISCSI::Storage::Statement;
using namespace KovaStorageTest;

class StoredNamesTest : public StorageLibraryTest {
protected:
    StoredNamesTest() : StorageLibraryTest("storednames") {}

    // Sets a column of the LUN row uuid to value, bytes as given.
    static void SetLunColumn(const std::string& uuid, const char* column, const std::string& value)
    {
        const int rc = LibraryContext::With([&](LibraryContext& ctx) {
            const std::string sql = std::string("UPDATE luns SET ") + column + " = ?1 WHERE uuid = ?2;";
            Statement update(ctx.db(), sql.c_str());
            return update.bind(1, value).bind(2, uuid).run() ? 0 : 1;
        });
        ASSERT_EQ(0, rc);
    }

    static std::vector<BadStoredName> Find()
    {
        std::vector<BadStoredName> found;
        LibraryContext::With([&](LibraryContext& ctx) {
            found = ISCSI::Storage::FindBadStoredNames(ctx.db());
            return 0;
        });
        return found;
    }
};

TEST_F(StoredNamesTest, CleanNamesAreNotReported)
{
    CreateLUN("lun-\xc3\xa9t\xc3\xa9", 1 << 20);
    CreateLUN("lun-plain", 1 << 20);
    EXPECT_TRUE(Find().empty());
}

TEST_F(StoredNamesTest, NamesThatAreNotUtf8OrHoldNulAreReportedByTheirKey)
{
    const std::string bad = CreateLUN("lun-bad", 1 << 20);
    const std::string nul = CreateLUN("lun-nul", 1 << 20);
    CreateLUN("lun-good", 1 << 20);
    SetLunColumn(bad, "name", "lun-\xff\xfe");
    SetLunColumn(nul, "description", std::string("a\0b", 3));

    const std::vector<BadStoredName> found = Find();
    ASSERT_EQ(2u, found.size());
    EXPECT_EQ("LUN name", found[0].what);
    EXPECT_EQ(bad, found[0].key);
    EXPECT_EQ("LUN description", found[1].what);
    EXPECT_EQ(nul, found[1].key);
    int reported = -1;
    LibraryContext::With([&](LibraryContext& ctx) {
        reported = static_cast<int>(ISCSI::Storage::ReportBadStoredNames(ctx.db()));
        return 0;
    });
    EXPECT_EQ(2, reported);
}

} // namespace
