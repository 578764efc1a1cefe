// node and log: the Node API's methods on the local node, remote nodes and the service log.
#include "Commands.h"

#include <fstream>
#include <iostream>

namespace iscsictl {

void AddNodeCommands(CLI::App& app)
{
    CLI::App* node = NewFamily(app, "node", "The local node's settings and the known remote nodes");

    NewCommand(node, "get", "Show the local node's settings",
               "  iscsictl node get\n  iscsictl node get --json")
        .Opt("--root-path", "iscsi_dir_root_path", "also the iSCSI directory of this volume")
        .Fixed("additional", ParseValue("[\"isns_info\",\"io_queue_length\",\"iqn_hash_key\","
                                        "\"ep_unmap_buf_mode\",\"tp_hard_threshold_bytes\","
                                        "\"promote_storage_console\"]"))
        .Then([](Json::Value& params) {
            const Json::Value data = Ctx().Call(API_NODE, "get", params);
            PrintRecord(data, data, "uuid");
        });

    NewCommand(
        node, "set", "Change the local node's settings",
        "  iscsictl node set --isns yes --isns-address 10.0.0.9\n  iscsictl node set --io-queue-length 64")
        .Opt("--isns", "isns_enabled", "iSNS on or off (yes/no)", Kind::Bool)
        .Opt("--isns-address", "isns_address", "the iSNS server's address")
        .Opt("--io-queue-length", "io_queue_length", "1 to 4096", Kind::Number)
        .Opt("--ep-unmap-buf-mode", "ep_unmap_buf_mode", "0, 1 or 2", Kind::Number)
        .Opt("--tp-hard-threshold", "tp_hard_threshold_bytes", "thin provisioning hard threshold", Kind::Size)
        .Opt("--promote-storage-console", "promote_storage_console", "yes or no", Kind::Bool)
        .Calls(API_NODE, "set", "", "changed");

    NewCommand(node, "list", "List the known nodes", "  iscsictl node list").Then([](Json::Value& params) {
        const Json::Value data = Ctx().Call(API_NODE, "list", params);
        PrintTable(data, data["nodes"],
                   {{"UUID", "uuid", nullptr},
                    {"HOSTNAME", "hostname", nullptr},
                    {"PORT", "port", nullptr},
                    {"PROTOCOL", "protocol", nullptr},
                    {"ACCOUNT", "account", nullptr},
                    {"LOCAL", "is_local_node", nullptr}},
                   "uuid");
    });

    NewCommand(node, "add", "Add a remote node",
               "  iscsictl node add --uuid UUID --hostname nas2 --port 5080 ...")
        .Opt("--uuid", "uuid", "the node's uuid")
        .Opt("--session-id", "session_id", "a session on the node")
        .Opt("--hostname", "hostname", "its host name or address")
        .Opt("--port", "port", "its web API port", Kind::Number, "5080")
        .Opt("--protocol", "protocol", "http or https", Kind::String, "https")
        .Opt("--rod-key", "rod_key", "its key")
        .Opt("--account", "account", "the account used on it")
        .Then([](Json::Value& params) {
            Json::Value call;
            call["nodes"].append(params);
            PrintDone(Ctx().Call(API_NODE, "add_node", call), "", "added");
        });

    NewCommand(node, "remove", "Remove remote nodes", "  iscsictl node remove UUID1,UUID2")
        .Arg("NODES", "uuids", "node uuids, comma-separated", Kind::List)
        .Calls(API_NODE, "delete_node", "", "removed");
}

void AddLogCommands(CLI::App& app)
{
    CLI::App* log = NewFamily(app, "log", "The service log");

    NewCommand(log, "list", "List log lines (newest first)",
               "  iscsictl log list --limit 20\n  iscsictl log list --level err,warning --keyword lun1")
        .Opt("--limit,-n", "limit", "lines at most", Kind::Number)
        .Opt("--offset", "offset", "lines to skip", Kind::Number)
        .Opt("--from", "date_from", "from this time (seconds since the epoch)", Kind::Number)
        .Opt("--to", "date_to", "up to this time (seconds since the epoch)", Kind::Number)
        .Opt("--keyword,-k", "keyword", "lines holding this text")
        .Opt("--level", "log_level", "levels: err, warning, info (comma-separated)", Kind::List)
        .Then([](Json::Value& params) {
            const Json::Value data = Ctx().Call(API_NODE, "log_list", params);
            PrintTable(data, data["logs"],
                       {{"ID", "id", nullptr},
                        TimeColumn("TIME", "time"),
                        {"LEVEL", "level", nullptr},
                        {"USER", "user", nullptr},
                        {"MESSAGE", "message", nullptr}},
                       "id");
        });

    Command& exportCommand = NewCommand(log, "export", "Export the log as CSV or HTML",
                                        "  iscsictl log export > iscsi-log.csv\n"
                                        "  iscsictl log export --format html -o log.html");
    exportCommand.Opt("--format", "export_format", "csv or html", Kind::String, "csv")
        .Opt("--from", "date_from", "from this time (seconds since the epoch)", Kind::Number)
        .Opt("--to", "date_to", "up to this time", Kind::Number)
        .Opt("--keyword,-k", "keyword", "lines holding this text")
        .Opt("--level", "log_level", "levels (comma-separated)", Kind::List)
        .Local("--output,-o", "write to this file (default standard output)", false);
    exportCommand.Then([&exportCommand](Json::Value& params) {
        const Reply reply = Ctx().Try(API_NODE, "log_export", params);
        if (!reply.success)
            throw ErrorFailure(reply.code, "log_export");
        const std::string body = reply.raw ? reply.body : Text(reply.data);
        if (exportCommand.Given("--output")) {
            std::ofstream out(exportCommand.Value("--output"), std::ios::binary);
            out << body;
            if (!out)
                throw Failure(EXIT_USAGE, "cannot write " + exportCommand.Value("--output"));
        } else {
            std::cout << body;
        }
    });

    NewCommand(log, "clear", "Clear the service log", "  iscsictl log clear")
        .Calls(API_NODE, "log_clear", "", "cleared");
}

} // namespace iscsictl
