// Loading modules and finding their methods.
#include "ModuleTable.h"

#include <kova/WebAPIErrors.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

using namespace KOVA::Daemon;

namespace {

void H1(KOVA::APIRequest*, KOVA::APIResponse*) {}
void H2(KOVA::APIRequest*, KOVA::APIResponse*) {}

const char VLUN[] = "KOVA.Core.ISCSI.VLUN";

class TempDir {
public:
    TempDir()
    {
        char pattern[] = "/tmp/kova-modules-XXXXXX";
        if (mkdtemp(pattern))
            path = pattern;
    }
    ~TempDir()
    {
        std::error_code ec;
        std::filesystem::remove_all(path, ec);
    }
    std::string path;
};

} // namespace

TEST(ModuleTable, WalksTheTableToItsNullRow)
{
    const KOVA::APITableRow table[] = {
        {"A", 1, "get", H1}, {"A", 1, "set", H2}, {nullptr, 0, nullptr, nullptr}, {"A", 1, "after", H1}};
    ModuleTable t;
    std::vector<std::string> duplicates;
    EXPECT_EQ(t.AddTable(table, duplicates), 2u);
    EXPECT_EQ(t.RowCount(), 2u);
    KOVA::APIHandler h = nullptr;
    EXPECT_EQ(t.Find("A", 1, "get", h), 0);
    EXPECT_EQ(h, &H1);
    EXPECT_EQ(t.Find("A", 1, "set", h), 0);
    EXPECT_EQ(h, &H2);
    EXPECT_EQ(t.Find("A", 1, "after", h), KOVA::WEBAPI_ERR_NO_SUCH_METHOD);
}

TEST(ModuleTable, TheSameMethodNameInTwoApisIsTwoRows)
{
    const KOVA::APITableRow table[] = {
        {"A", 1, "get", H1}, {"B", 1, "get", H2}, {nullptr, 0, nullptr, nullptr}};
    ModuleTable t;
    std::vector<std::string> duplicates;
    ASSERT_EQ(t.AddTable(table, duplicates), 2u);
    KOVA::APIHandler h = nullptr;
    ASSERT_EQ(t.Find("A", 1, "get", h), 0);
    EXPECT_EQ(h, &H1);
    ASSERT_EQ(t.Find("B", 1, "get", h), 0);
    EXPECT_EQ(h, &H2);
    EXPECT_EQ(t.Find("C", 1, "get", h), KOVA::WEBAPI_ERR_NO_SUCH_API);
    EXPECT_EQ(t.Find("A", 2, "get", h), KOVA::WEBAPI_ERR_NO_SUCH_VERSION);
    EXPECT_EQ(t.Find("a", 1, "get", h), KOVA::WEBAPI_ERR_NO_SUCH_API);
    EXPECT_EQ(t.Find("A", 1, "GET", h), KOVA::WEBAPI_ERR_NO_SUCH_METHOD);
}

TEST(ModuleTable, TheFirstModuleToServeARowKeepsIt)
{
    const KOVA::APITableRow first[] = {{"A", 1, "get", H1}, {nullptr, 0, nullptr, nullptr}};
    const KOVA::APITableRow second[] = {
        {"A", 1, "get", H2}, {"A", 2, "get", H2}, {nullptr, 0, nullptr, nullptr}};
    ModuleTable t;
    std::vector<std::string> duplicates;
    t.AddTable(first, duplicates);
    EXPECT_EQ(t.AddTable(second, duplicates), 1u);
    ASSERT_EQ(duplicates.size(), 1u);
    EXPECT_EQ(duplicates[0], "A.get v1");
    KOVA::APIHandler h = nullptr;
    ASSERT_EQ(t.Find("A", 1, "get", h), 0);
    EXPECT_EQ(h, &H1);
    ASSERT_EQ(t.Find("A", 2, "get", h), 0);
    EXPECT_EQ(h, &H2);
}

TEST(ModuleTable, RowsWithoutHandlerAreLeftOut)
{
    const KOVA::APITableRow table[] = {{"A", 1, "get", nullptr}, {nullptr, 0, nullptr, nullptr}};
    ModuleTable t;
    std::vector<std::string> duplicates;
    EXPECT_EQ(t.AddTable(table, duplicates), 0u);
    KOVA::APIHandler h = nullptr;
    EXPECT_EQ(t.Find("A", 1, "get", h), KOVA::WEBAPI_ERR_NO_SUCH_API);
}

TEST(ModuleTable, LoadsAModuleAndServesItsVLUNMethods)
{
    ModuleTable t;
    std::string message;
    ASSERT_TRUE(t.LoadModule(KOVA_DOUBLE_MODULE_PATH, message)) << message;
    EXPECT_EQ(message, "");
    KOVA::APIHandler h = nullptr;
    for (const char* method : {"create", "delete", "list", "get", "set", "bind", "unbind"}) {
        h = nullptr;
        EXPECT_EQ(t.Find(VLUN, 1, method, h), 0) << method;
        EXPECT_NE(h, nullptr) << method;
    }
    EXPECT_EQ(t.Find(VLUN, 2, "get", h), KOVA::WEBAPI_ERR_NO_SUCH_VERSION);
    EXPECT_EQ(t.Find(VLUN, 1, "no_such_method", h), KOVA::WEBAPI_ERR_NO_SUCH_METHOD);
}

TEST(ModuleTable, LoadingTheSameModuleTwiceAddsNothing)
{
    ModuleTable t;
    std::string message;
    ASSERT_TRUE(t.LoadModule(KOVA_DOUBLE_MODULE_PATH, message)) << message;
    const size_t rows = t.RowCount();
    ASSERT_TRUE(t.LoadModule(KOVA_DOUBLE_MODULE_PATH, message));
    EXPECT_EQ(t.RowCount(), rows);
    EXPECT_NE(message.find("KOVA.Core.ISCSI.VLUN.get v1"), std::string::npos) << message;
}

TEST(ModuleTable, RefusesWhatIsNoModule)
{
    ModuleTable t;
    std::string message;
    EXPECT_FALSE(t.LoadModule("/nonexistent/libnothing.so", message));
    EXPECT_FALSE(message.empty());
    EXPECT_FALSE(t.LoadModule(KOVA_WEBAPI_LIBRARY_PATH, message));
    EXPECT_NE(message.find("exports no GetAPITable"), std::string::npos) << message;
    EXPECT_EQ(t.RowCount(), 0u);
}

TEST(ModuleTable, LoadsTheModulesOfADirectoryAndSkipsTheRest)
{
    TempDir dir;
    ASSERT_FALSE(dir.path.empty());
    namespace fs = std::filesystem;
    fs::create_symlink(KOVA_DOUBLE_MODULE_PATH, dir.path + "/libwebapi-iSCSI-double.so");
    fs::create_symlink(KOVA_WEBAPI_LIBRARY_PATH, dir.path + "/libkova-webapi.so");
    std::ofstream(dir.path + "/broken.so") << "not a shared object";
    std::ofstream(dir.path + "/README") << "not a module";

    ModuleTable t;
    int loaded = -1;
    std::vector<std::string> notes;
    std::string error;
    ASSERT_TRUE(t.LoadModuleDir(dir.path, loaded, notes, error)) << error;
    EXPECT_EQ(loaded, 1);
    EXPECT_EQ(notes.size(), 2u);
    KOVA::APIHandler h = nullptr;
    EXPECT_EQ(t.Find(VLUN, 1, "get", h), 0);
}

TEST(ModuleTable, AnUnreadableDirectoryIsAnError)
{
    ModuleTable t;
    int loaded = 0;
    std::vector<std::string> notes;
    std::string error;
    EXPECT_FALSE(t.LoadModuleDir("/nonexistent/modules", loaded, notes, error));
    EXPECT_FALSE(error.empty());
}

TEST(ModuleTable, StartFunctionsAreFoundThroughTheModulesLibrariesOnce)
{
    // The module over the recording double links no storage library: no start function.
    ModuleTable doubleOnly;
    std::string message;
    ASSERT_TRUE(doubleOnly.LoadModule(KOVA_DOUBLE_MODULE_PATH, message)) << message;
    EXPECT_TRUE(doubleOnly.StartFunctions().empty());

    // The shipped module links the storage library, whose KOVAPlatformStart is found through
    // the module's handle, and only once however often the module is loaded.
    ModuleTable shipped;
    ASSERT_TRUE(shipped.LoadModule(KOVA_REAL_MODULE_PATH, message)) << message;
    ASSERT_EQ(1u, shipped.StartFunctions().size());
    shipped.LoadModule(KOVA_REAL_MODULE_PATH, message);
    EXPECT_EQ(1u, shipped.StartFunctions().size());
}
