// The exported method table.
#include "etc/WebAPITable.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace {

std::vector<const KOVA::APITableRow*> Rows()
{
    std::vector<const KOVA::APITableRow*> rows;
    for (const KOVA::APITableRow* row = GetAPITable(); row->api; ++row)
        rows.push_back(row);
    return rows;
}

TEST(Table, GetAPITableAnswersTheAddressOfGTable)
{
    EXPECT_EQ(GetAPITable(), gTable);
}

TEST(Table, TheModuleExportsGetAPITableAndGTableUnderTheirPlainNames)
{
    void* module = dlopen(WEBAPI_ISCSI_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr) << dlerror();
    auto getTable = reinterpret_cast<GetAPITableFn>(dlsym(module, "GetAPITable"));
    const void* table = dlsym(module, "gTable");
    ASSERT_NE(getTable, nullptr);
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(static_cast<const void*>(getTable()), table);
    dlclose(module);
}

TEST(Table, TheRowAfterTheLastMethodHasNullNameVersion0NullMethodAndNullHandler)
{
    const size_t n = Rows().size();
    const KOVA::APITableRow& last = gTable[n];
    EXPECT_EQ(last.api, nullptr);
    EXPECT_EQ(last.version, 0);
    EXPECT_EQ(last.method, nullptr);
    EXPECT_EQ(last.handler, nullptr);
}

TEST(Table, EveryRowIsVersion1WithAHandlerAndIsUniqueByAPIAndMethod)
{
    std::set<std::pair<std::string, std::string>> seen;
    for (const KOVA::APITableRow* row : Rows()) {
        EXPECT_EQ(row->version, 1);
        EXPECT_NE(row->handler, nullptr);
        EXPECT_TRUE(seen.insert({row->api, row->method}).second) << row->api << " " << row->method;
    }
}

TEST(Table, RowsOfOneAPIShareOneNameText)
{
    std::vector<const KOVA::APITableRow*> rows = Rows();
    for (size_t i = 1; i < rows.size(); ++i) {
        if (std::strcmp(rows[i]->api, rows[i - 1]->api) == 0) {
            EXPECT_EQ(rows[i]->api, rows[i - 1]->api);
        }
    }
}

TEST(Table, TheVLUNRowsStandInTheirFixedOrderShellsIncluded)
{
    std::vector<std::string> vlun;
    for (const KOVA::APITableRow* row : Rows())
        if (std::string(row->api) == "KOVA.Core.ISCSI.VLUN")
            vlun.push_back(row->method);
    EXPECT_EQ(vlun, (std::vector<std::string>{"create", "delete", "list", "get", "set", "bind", "unbind"}));
}

TEST(Table, APIsStandInTheirFixedOrder)
{
    const std::vector<std::string> order = {"KOVA.Core.ISCSI.LUN",         "KOVA.Core.ISCSI.Target",
                                            "KOVA.Core.ISCSI.Replication", "KOVA.Core.ISCSI.VLUN",
                                            "KOVA.Core.ISCSI.Node",        "KOVA.Core.ISCSI.Lunbkp"};
    size_t position = 0;
    for (const KOVA::APITableRow* row : Rows()) {
        while (position < order.size() && order[position] != row->api)
            ++position;
        ASSERT_LT(position, order.size()) << row->api << " out of order";
    }
}

} // namespace
