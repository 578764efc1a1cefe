// replication, backup and top: the Replication API, the LUN backup API and the LUN API's
// I/O figures.
#include "Commands.h"
#include "Jobs.h"

#include <unistd.h>

#include <chrono>
#include <iostream>
#include <thread>

namespace iscsictl {

namespace {

// Running while the figures are incomplete and no code was answered.
JobState Figures(std::uint64_t done, std::uint64_t total, int errorCode)
{
    JobState state;
    state.done = done;
    state.total = total;
    state.errorCode = errorCode;
    state.running = errorCode == 0 && (total == 0 || done < total);
    return state;
}

} // namespace

Job SendJob(const std::string& replication)
{
    Job job;
    job.what = "sending of replication " + replication;
    job.poll = [replication] {
        Json::Value params = ParamsWith("uuid", replication);
        params["sending_status"] = true;
        const Json::Value data = Ctx().Call(API_REPLICATION, "get", params);
        return Figures(data["sending_data_done"].asUInt64(), data["sending_data_total"].asUInt64(),
                       data["sending_errno"].asInt());
    };
    job.stop = [replication] {
        Ctx().Call(API_REPLICATION, "stop_sending", ParamsWith("uuid", replication));
    };
    return job;
}

Job UnsyncSizeJob(const std::string& replication)
{
    Job job;
    job.what = "unsync size computation of replication " + replication;
    job.poll = [replication] {
        const Json::Value data =
            Ctx().Call(API_REPLICATION, "get_unsync_size", ParamsWith("uuid", replication));
        return Figures(data["scanned_size"].asUInt64(), data["total_size"].asUInt64(), data["errno"].asInt());
    };
    job.stop = [] { throw Failure(EXIT_INTERRUPTED, "the computation has no stop method; it goes on"); };
    return job;
}

Job BackupJob(const std::string& lun, bool restore)
{
    Job job;
    job.what = (restore ? "restore of LUN " : "backup of LUN ") + lun;
    job.poll = [lun] {
        const Json::Value data = Ctx().Call(API_LUNBKP, "lunbkp_progress_get", ParamsWith("uuid", lun));
        const int progress = data["lunbkp_progress"].asInt();
        // Sectors of 512 bytes; a negative progress is the copy's failure.
        return Figures(data["lunbkp_offset_sector"].asUInt64() * 512,
                       data["lunbkp_total_sector"].asUInt64() * 512, progress < 0 ? progress : 0);
    };
    job.stop = [lun, restore] {
        Ctx().Call(API_LUNBKP, restore ? "lunrestore_stop" : "lunbackup_stop", ParamsWith("uuid", lun));
    };
    return job;
}

void AddReplicationCommands(CLI::App& app)
{
    CLI::App* replication = NewFamily(app, "replication", "Replication of LUNs to other appliances");

    NewCommand(replication, "list", "List the replications",
               "  iscsictl replication list\n  iscsictl replication list --lun lun1")
        .Opt("--lun", "lun_uuid", "only the replications of this LUN")
        .Then([](Json::Value& params) {
            const Json::Value data = Ctx().Call(API_REPLICATION, "list", params);
            PrintTable(data, data["tasks"],
                       {{"UUID", "uuid", nullptr},
                        {"TYPE", "type", nullptr},
                        {"SOURCE LUN", "src_lun_uuid", nullptr},
                        {"DESTINATION LUN", "dst_lun_uuid", nullptr},
                        {"DESTINATION NODE", "dst_node_uuid", nullptr}},
                       "uuid");
        });

    NewCommand(replication, "get", "Show a replication with its sending progress",
               "  iscsictl replication get UUID")
        .Arg("REPLICATION", "uuid", "the replication's uuid")
        .Fixed("sending_status", true)
        .Then([](Json::Value& params) {
            const Json::Value data = Ctx().Call(API_REPLICATION, "get", params);
            PrintRecord(data, data, "task.uuid");
        });

    NewCommand(replication, "create", "Create a replication of a LUN to another node",
               "  iscsictl replication create lun1 --src-node UUID --dst-node UUID --dst-location /volume1 "
               "--dst-name lun1-r")
        .Arg("LUN", "src_lun_uuid", "the LUN's name or uuid")
        .Opt("--src-node", "src_node_uuid", "this node's uuid")
        .Opt("--dst-node", "dst_node_uuid", "the destination node's uuid")
        .Opt("--dst-location", "dst_location", "the destination volume", Kind::String, "/volume1")
        .Opt("--dst-name", "dst_lun_name", "the destination LUN's name")
        .Calls(API_REPLICATION, "create", "uuid", "created");

    Command& send = NewCommand(replication, "send", "Send a snapshot to the destination",
                               "  iscsictl replication send UUID SNAP --dst-address 10.0.0.9 --wait");
    send.Arg("REPLICATION", "uuid", "the replication's uuid")
        .Arg("SNAPSHOT", "snapshot_uuid", "the snapshot to send")
        .Opt("--dst-address", "dst_address", "the destination's address")
        .Opt("--dst-port", "dst_port", "the destination's port", Kind::Number)
        .Opt("--src-address", "src_address", "the address to send from")
        .Opt("--encrypt", "is_data_encrypted", "encrypt the stream", Kind::Flag)
        .Opt("--full-sync", "is_full_sync_allowed", "allow a full sync: yes or no (default yes)", Kind::Bool)
        .Opt("--dst-snap-name", "dst_snap_name", "the snapshot's name at the destination");
    send.Waits(
        API_REPLICATION, "send_snapshot",
        [](const Json::Value& params) { return Command::Known(SendJob(params["uuid"].asString())); }, "",
        "sent", "sending started");

    NewCommand(replication, "stop", "Stop a sending", "  iscsictl replication stop UUID")
        .Arg("REPLICATION", "uuid", "the replication's uuid")
        .Calls(API_REPLICATION, "stop_sending", "", "stopped");
    NewCommand(replication, "promote", "Make the destination the source",
               "  iscsictl replication promote UUID")
        .Arg("REPLICATION", "uuid", "the replication's uuid")
        .Calls(API_REPLICATION, "promote", "", "promoted");
    NewCommand(replication, "demote", "Make the source the destination", "  iscsictl replication demote UUID")
        .Arg("REPLICATION", "uuid", "the replication's uuid")
        .Calls(API_REPLICATION, "demote", "", "demoted");
    NewCommand(replication, "delete", "Delete a replication",
               "  iscsictl replication delete UUID --delete-lun")
        .Arg("REPLICATION", "uuid", "the replication's uuid")
        .Opt("--delete-lun", "delete_lun", "also delete the destination LUN", Kind::Flag)
        .Calls(API_REPLICATION, "delete", "", "deleted");

    Command& unsync = NewCommand(replication, "unsync-size", "Compute how much is not yet sent",
                                 "  iscsictl replication unsync-size UUID --wait");
    unsync.Arg("REPLICATION", "uuid", "the replication's uuid")
        .Opt("--base", "base_snapshot_uuid", "the base snapshot")
        .Opt("--sending", "sending_snapshot_uuid", "the snapshot to send");
    unsync.Local("--wait,-w", "wait for the computation, with a progress bar");
    unsync.Then([&unsync](Json::Value& params) {
        Ctx().Call(API_REPLICATION, "compute_unsync_size", params);
        if (unsync.Given("--wait"))
            WaitFor(UnsyncSizeJob(params["uuid"].asString()));
        const Json::Value data =
            Ctx().Call(API_REPLICATION, "get_unsync_size", ParamsWith("uuid", params["uuid"].asString()));
        PrintRecord(data, data, "unsync_size");
    });
}

void AddBackupCommands(CLI::App& app)
{
    CLI::App* backup = NewFamily(app, "backup", "Block-level backup of LUNs to iSCSI targets or devices");

    NewCommand(backup, "connect", "Attach a remote iSCSI target; prints its local device",
               "  iscsictl backup connect 10.0.0.9 iqn.2026-11.com.example:backup")
        .Arg("ADDRESS", "target_ip", "the target's address")
        .Arg("IQN", "target_iqn", "the target's IQN")
        .Calls(API_LUNBKP, "target_connect", "block_dev_path", "",
               [](const Json::Value& data) { std::cout << data["block_dev_path"].asString() << "\n"; });
    NewCommand(backup, "disconnect", "Detach a remote iSCSI target",
               "  iscsictl backup disconnect 10.0.0.9 iqn.2026-11.com.example:backup")
        .Arg("ADDRESS", "target_ip", "the target's address")
        .Arg("IQN", "target_iqn", "the target's IQN")
        .Calls(API_LUNBKP, "target_disconnect", "", "disconnected");

    for (const bool restore : {false, true}) {
        Command& start =
            NewCommand(backup, restore ? "restore" : "start",
                       restore ? "Restore a LUN from a block device" : "Back a LUN up to a block device",
                       restore ? "  iscsictl backup restore lun1 /dev/sdx --wait"
                               : "  iscsictl backup start lun1 /dev/sdx --wait");
        start.Arg("LUN", "uuid", "the LUN's name or uuid")
            .Arg("DEVICE", "block_dev_path", "the block device");
        start.Waits(
            API_LUNBKP, restore ? "lunrestore_start" : "lunbackup_start",
            [restore](const Json::Value& params) {
                return Command::Known(BackupJob(params["uuid"].asString(), restore));
            },
            "", "done", "started");
    }
    NewCommand(backup, "stop", "Stop a backup", "  iscsictl backup stop lun1")
        .Arg("LUN", "uuid", "the LUN's name or uuid")
        .Calls(API_LUNBKP, "lunbackup_stop", "", "stopped");
    NewCommand(backup, "restore-stop", "Stop a restore", "  iscsictl backup restore-stop lun1")
        .Arg("LUN", "uuid", "the LUN's name or uuid")
        .Calls(API_LUNBKP, "lunrestore_stop", "", "stopped");
    NewCommand(backup, "progress", "Show the progress of a backup or restore",
               "  iscsictl backup progress lun1")
        .Arg("LUN", "uuid", "the LUN's name or uuid")
        .Then([](Json::Value& params) {
            const Json::Value data = Ctx().Call(API_LUNBKP, "lunbkp_progress_get", params);
            PrintRecord(data, data, "lunbkp_progress");
        });
}

namespace {

int Count(const std::string& name, const std::string& text)
{
    const Json::Value value = ParseValue(text);
    if (!value.isInt() || value.asInt() < 0)
        throw Failure(EXIT_USAGE, name + ": not a count: '" + text + "'");
    return value.asInt();
}

} // namespace

void AddTopCommand(CLI::App& app)
{
    Command& top = NewCommand(&app, "top", "Show the LUNs' I/O figures, refreshed",
                              "  iscsictl top\n  iscsictl top --count 1 --json\n  iscsictl top --interval 5");
    top.Local("--interval", "seconds between two readings (default 2)", false)
        .Local("--count,-c", "readings, then stop (default: until Ctrl-C on a terminal, else 1)", false);
    top.Then([&top](Json::Value& params) {
        const bool terminal = ::isatty(STDOUT_FILENO) == 1;
        const int interval =
            top.Given("--interval") ? std::max(1, Count("--interval", top.Value("--interval"))) : 2;
        const int count = top.Given("--count") ? Count("--count", top.Value("--count")) : (terminal ? -1 : 1);
        for (int i = 0; count < 0 || i < count; ++i) {
            if (i > 0)
                std::this_thread::sleep_for(std::chrono::seconds(interval));
            const Json::Value data = Ctx().Call(API_LUN, "top", params);
            if (terminal && Mode() == OutputMode::Human && count != 1)
                std::cout << "\033[H\033[2J";
            // The figures come as a list, or as an object by LUN uuid.
            Json::Value rows = data["iostats"];
            if (rows.isObject()) {
                Json::Value list(Json::arrayValue);
                for (const std::string& uuid : rows.getMemberNames()) {
                    Json::Value row = rows[uuid];
                    if (row.isObject() && !row.isMember("uuid"))
                        row["uuid"] = uuid;
                    list.append(row);
                }
                rows = list;
            }
            PrintTable(data, rows,
                       {{"NAME", "name", nullptr},
                        {"LOCATION", "location", nullptr},
                        SizeColumn("READ/S", "read_bytes_per_sec"),
                        SizeColumn("WRITE/S", "write_bytes_per_sec"),
                        {"READ OPS/S", "read_ops_per_sec", nullptr},
                        {"WRITE OPS/S", "write_ops_per_sec", nullptr},
                        SizeColumn("READ", "read_bytes"),
                        SizeColumn("WRITTEN", "write_bytes"),
                        {"ERRORS", "errors", nullptr},
                        {"SERVED", "is_served", nullptr}},
                       "uuid");
            std::cout << std::flush;
        }
    });
}

} // namespace iscsictl
