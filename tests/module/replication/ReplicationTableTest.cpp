// The rows of API KOVA.Core.ISCSI.Replication in the module's method table.
#include "etc/WebAPITable.h"
#include "replication/WebAPIServerReplication.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace ISCSI::WebAPI::APIReplication;

TEST(ReplicationTable, TheSeventeenRowsStandTogetherInTheirFixedOrderWithTheirHandlersAtVersion1)
{
    const struct {
        const char* method;
        KOVA::APIHandler handler;
    } expected[] = {
        {"create", Create},
        {"delete", Delete},
        {"list", List},
        {"get", Get},
        {"set", Set},
        {"send_snapshot", SendSnapshot},
        {"stop_sending", StopSending},
        {"promote", Promote},
        {"demote", Demote},
        {"compute_unsync_size", ComputeUnsyncSize},
        {"get_unsync_size", GetUnsyncSize},
        {"check_node", CheckNode},
        {"create_task", CreateTask},
        {"delete_task", DeleteTask},
        {"get_base_version", GetBaseVersion},
        {"get_token", GetToken},
        {"clean_token", CleanToken},
    };
    std::vector<const KOVA::APITableRow*> rows;
    for (const KOVA::APITableRow* row = GetAPITable(); row->api; ++row) {
        if (std::strcmp(row->api, "KOVA.Core.ISCSI.Replication") == 0)
            rows.push_back(row);
    }
    ASSERT_EQ(rows.size(), 17u);
    for (size_t i = 0; i < rows.size(); ++i) {
        EXPECT_STREQ(rows[i]->method, expected[i].method) << i;
        EXPECT_EQ(rows[i]->handler, expected[i].handler) << expected[i].method;
        EXPECT_EQ(rows[i]->version, 1) << expected[i].method;
        if (i > 0) {
            EXPECT_EQ(rows[i], rows[i - 1] + 1) << expected[i].method << " is not next to the row before it";
        }
    }
}

} // namespace
