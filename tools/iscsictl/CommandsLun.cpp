// lun and snapshot: the LUN API's methods on LUNs and their snapshots.
#include "Commands.h"
#include "Jobs.h"

#include <iscsi/ISCSIErrors.h>

#include <iostream>

namespace iscsictl {

namespace {

const char LUN_STATUS[] = "[\"status\",\"allocated_size\",\"is_mapped\"]";

std::vector<Column> LunColumns()
{
    return {{"NAME", "name", nullptr},
            {"UUID", "uuid", nullptr},
            {"TYPE", "type_str", nullptr},
            SizeColumn("SIZE", "size"),
            SizeColumn("USED", "allocated_size"),
            {"LOCATION", "location", nullptr},
            {"STATUS", "status", nullptr},
            {"MAPPED", "is_mapped", nullptr}};
}

JobState JobOf(const Json::Value& data, const std::string& prefix, bool running)
{
    JobState state;
    state.running = running;
    state.total = data[prefix + "_total"].asUInt64();
    state.done = data[prefix + "_done"].asUInt64();
    state.errorCode = data[prefix + "_errno"].asInt();
    return state;
}

} // namespace

Job CloneJob(const std::string& uuid, const std::string& name)
{
    Job job;
    job.what = "clone " + name;
    job.poll = [uuid] {
        Json::Value params = ParamsWith("uuid", uuid);
        params["additional"] = ParseValue("[\"status\",\"sync_progress\"]");
        const Reply reply = Ctx().Try(API_LUN, "get", params);
        if (!reply.success) {
            // A failed or cancelled clone removes its LUN.
            JobState gone;
            gone.running = false;
            gone.errorCode =
                reply.code == 18990505 ? static_cast<int>(ISCSI::ISCSI_ERR_JOB_CANCELLED) : reply.code;
            return gone;
        }
        return JobOf(reply.data, "sync", reply.data["lun"]["status"].asString() == "cloning");
    };
    job.stop = [uuid] { Ctx().Call(API_LUN, "stop_clone", ParamsWith("uuid", uuid)); };
    return job;
}

Job ExportJob(const std::string& snapshot)
{
    Job job;
    job.what = "export of snapshot " + snapshot;
    job.poll = [snapshot] {
        Json::Value params = ParamsWith("snapshot_uuid", snapshot);
        params["additional"] = ParseValue("[\"export_status\"]");
        const Json::Value data = Ctx().Call(API_LUN, "get_snapshot", params);
        return JobOf(data, "export", data["snapshot"]["status"].asString() == "exporting");
    };
    job.stop = [snapshot] { Ctx().Call(API_LUN, "export_cancel", ParamsWith("snapshot_uuid", snapshot)); };
    return job;
}

Job ImportJob(const std::string& lun)
{
    // The imported snapshot's row comes with the end of the job, after the last figures: the
    // job has ended when the LUN has one snapshot more than before it began.
    Json::Value count = ParamsWith("src_lun_uuid", lun);
    count["is_count_only"] = true;
    const Json::UInt64 before = Ctx().Call(API_LUN, "list_snapshot", count)["count"].asUInt64();
    Job job;
    job.what = "import into LUN " + lun;
    job.poll = [lun, count, before] {
        Json::Value params = ParamsWith("uuid", lun);
        params["additional"] = ParseValue("[\"import_status\"]");
        const Json::Value data = Ctx().Call(API_LUN, "get", params);
        JobState state = JobOf(data, "import", true);
        state.running = state.errorCode == 0 &&
                        (state.total == 0 || state.done < state.total ||
                         Ctx().Call(API_LUN, "list_snapshot", count)["count"].asUInt64() <= before);
        return state;
    };
    job.stop = [lun] { Ctx().Call(API_LUN, "import_cancel", ParamsWith("src_lun_uuid", lun)); };
    return job;
}

void AddLunCommands(CLI::App& app)
{
    CLI::App* lun = NewFamily(app, "lun", "LUNs: list, create, change, clone, export, import");

    NewCommand(lun, "list", "List the LUNs",
               "  iscsictl lun list\n  iscsictl lun list --location /volume1 --json\n  iscsictl -q lun list")
        .Opt("--location", "location", "only the LUNs of this volume")
        .Opt("--type", "type", "only LUNs of this type (THIN, THICK, FILE, ...)")
        .Fixed("additional", ParseValue(LUN_STATUS))
        .Then([](Json::Value& params) {
            const Json::Value data = Ctx().Call(API_LUN, "list", params);
            PrintTable(data, data["luns"], LunColumns(), "uuid");
        });

    NewCommand(lun, "get", "Show one LUN", "  iscsictl lun get lun1\n  iscsictl lun get lun1 --json")
        .Arg("LUN", "uuid", "the LUN's name or uuid")
        .Fixed("additional", ParseValue("[\"status\",\"allocated_size\",\"is_mapped\",\"extent_size\","
                                        "\"whitelist\",\"snapshot_count\",\"is_action_locked\"]"))
        .Then([](Json::Value& params) {
            const Json::Value data = Ctx().Call(API_LUN, "get", params);
            PrintRecord(data, data["lun"], "uuid");
        });

    NewCommand(lun, "create", "Create a LUN",
               "  iscsictl lun create lun1 --size 10G\n"
               "  iscsictl lun create db --size 512M --type THICK --location /volume2\n"
               "  iscsictl lun create old --type FILE --src-file /volume1/images/old.img")
        .Arg("NAME", "name", "the new LUN's name")
        .Opt("--size,-s", "size", "size, in bytes or with a unit (512M, 10G, 2T)", Kind::Size)
        .Opt("--type,-t", "type", "type: THIN, THICK, FILE, BLOCK, ...", Kind::String, "THIN")
        .Opt("--location,-l", "location", "the volume", Kind::String, "/volume1")
        .Opt("--src-file", "src_lun_file", "make the LUN from this file")
        .Opt("--src-dir", "src_lun_dir", "make the LUN from this directory")
        .Opt("--vpd-unit-sn", "vpd_unit_sn", "the unit serial number")
        .Opt("--ignore-soft", "is_soft_feas_ignored", "go on when only soft requirements are not met",
             Kind::Flag)
        .Calls(API_LUN, "create", "uuid", "", [](const Json::Value& data) {
            if (Mode() == OutputMode::Quiet)
                std::cout << data["uuid"].asString() << "\n";
            else
                std::cout << "created LUN " << data["uuid"].asString() << " (id " << data["lun_id"].asInt()
                          << ")\n";
        });

    NewCommand(lun, "set", "Change a LUN: name, size, type, location, serial number",
               "  iscsictl lun set lun1 --size 20G\n  iscsictl lun set lun1 --name lun-db")
        .Arg("LUN", "uuid", "the LUN's name or uuid")
        .Opt("--name,-n", "new_name", "the new name")
        .Opt("--size,-s", "new_size", "the new size (it can only grow)", Kind::Size)
        .Opt("--type,-t", "new_type", "the new type")
        .Opt("--location,-l", "new_location", "move the LUN to this volume")
        .Opt("--vpd-unit-sn", "vpd_unit_sn", "the unit serial number")
        .Opt("--ignore-soft", "is_soft_feas_ignored", "go on when only soft requirements are not met",
             Kind::Flag)
        .Calls(API_LUN, "set", "", "changed");

    NewCommand(lun, "delete", "Delete LUNs",
               "  iscsictl lun delete lun1\n  iscsictl lun delete lun1 lun2 lun3")
        .Arg("LUN", "uuid", "the LUN's name or uuid")
        .Opt("--also", "uuids", "further LUNs, deleted in the background with the first (comma-separated)",
             Kind::List)
        .Opt("--ignore-soft", "is_soft_feas_ignored", "go on when only soft requirements are not met",
             Kind::Flag)
        .Then([](Json::Value& params) {
            if (params.isMember("uuids"))
                params["uuids"].insert(0, params["uuid"]);
            const Json::Value data = Ctx().Call(API_LUN, "delete", params);
            PrintDone(data, "", "deleted");
        });

    Command& clone = NewCommand(lun, "clone", "Clone a LUN into a new one",
                                "  iscsictl lun clone lun1 lun1-copy --wait\n"
                                "  iscsictl lun clone lun1 lun1-copy --location /volume2 --map 1,2");
    clone.Arg("LUN", "src_lun_uuid", "the source LUN's name or uuid")
        .Arg("NEW_NAME", "dst_lun_name", "the new LUN's name")
        .Opt("--location,-l", "dst_location", "the volume of the new LUN (default: the source's)")
        .Opt("--type,-t", "clone_type", "the new LUN's type")
        .Opt("--vpd-unit-sn", "vpd_unit_sn", "the new LUN's unit serial number")
        .Opt("--map", "map_new_lun_to_target_ids", "map the new LUN to these targets (ids)", Kind::List)
        .Opt("--delete-source", "is_delete_parent_lun", "delete the source LUN once cloned", Kind::Flag);
    clone.Waits(
        API_LUN, "clone",
        [](const Json::Value& params) {
            const std::string name = params["dst_lun_name"].asString();
            return
                [name](const Json::Value& data) { return CloneJob(data["dst_lun_uuid"].asString(), name); };
        },
        "dst_lun_uuid", "cloned into LUN", "cloning into LUN");

    NewCommand(lun, "stop-clone", "Stop a running clone", "  iscsictl lun stop-clone lun1-copy")
        .Arg("LUN", "uuid", "the new LUN (or its source)")
        .Calls(API_LUN, "stop_clone", "", "stopped");

    Command& exportCommand = NewCommand(lun, "export", "Export a snapshot into a directory",
                                        "  iscsictl lun export snap1 /volume1/exports/lun1 --wait");
    exportCommand.Arg("SNAPSHOT", "snapshot_uuid", "the snapshot's uuid or name")
        .Arg("DIR", "exported_dir_path", "the directory (in a volume) to write");
    exportCommand.Waits(
        API_LUN, "export",
        [](const Json::Value& params) {
            return Command::Known(ExportJob(params["snapshot_uuid"].asString()));
        },
        "", "exported", "export started");

    Command& importCommand =
        NewCommand(lun, "import", "Import an exported directory into a LUN as a snapshot",
                   "  iscsictl lun import lun1 /volume1/exports/lun1 --name imported --wait");
    importCommand.Arg("LUN", "src_lun_uuid", "the LUN's name or uuid")
        .Arg("DIR", "exported_dir_path", "the exported directory")
        .Opt("--name,-n", "snapshot_name", "the new snapshot's name")
        .Opt("--description", "description", "the new snapshot's description")
        .Opt("--taken-by", "taken_by", "who takes it", Kind::String, "iscsictl");
    importCommand.Waits(
        API_LUN, "import",
        [](const Json::Value& params) {
            // Made before the call: the job's end is told by the LUN's snapshot count before it.
            return Command::Known(ImportJob(params["src_lun_uuid"].asString()));
        },
        "", "imported", "import started");

    NewCommand(lun, "loop-mount", "Attach a LUN to a loop device", "  iscsictl lun loop-mount lun1")
        .Arg("LUN", "uuid", "the LUN's name or uuid")
        .Calls(API_LUN, "loop_mount", "loop_dev_path", "",
               [](const Json::Value& data) { std::cout << data["loop_dev_path"].asString() << "\n"; });
    NewCommand(lun, "loop-unmount", "Detach a LUN from its loop device", "  iscsictl lun loop-unmount lun1")
        .Arg("LUN", "uuid", "the LUN's name or uuid")
        .Calls(API_LUN, "loop_unmount", "", "detached");

    NewCommand(lun, "map", "Map a LUN to targets", "  iscsictl lun map lun1 1,2")
        .Arg("LUN", "uuid", "the LUN's name or uuid")
        .Arg("TARGETS", "target_ids", "target ids, comma-separated", Kind::List)
        .Calls(API_LUN, "map_target", "", "mapped");
    NewCommand(lun, "unmap", "Unmap a LUN from targets", "  iscsictl lun unmap lun1 2")
        .Arg("LUN", "uuid", "the LUN's name or uuid")
        .Arg("TARGETS", "target_ids", "target ids, comma-separated", Kind::List)
        .Calls(API_LUN, "unmap_target", "", "unmapped");
    NewCommand(lun, "defrag", "Defragment a LUN (runs to its end unless --background)",
               "  iscsictl lun defrag lun1 --background")
        .Arg("LUN", "uuid", "the LUN's name or uuid")
        .Opt("--background", "background", "start it and answer at once", Kind::Flag)
        .Calls(API_LUN, "defrag", "", "defragmented");
}

void AddSnapshotCommands(CLI::App& app)
{
    CLI::App* snapshot = NewFamily(app, "snapshot", "Snapshots of LUNs");

    NewCommand(snapshot, "list", "List the snapshots (of one LUN, or all)",
               "  iscsictl snapshot list lun1\n  iscsictl snapshot list --json")
        .Arg("LUN", "src_lun_uuid", "the LUN's name or uuid", Kind::String, false)
        .Then([](Json::Value& params) {
            const Json::Value data = Ctx().Call(API_LUN, "list_snapshot", params);
            PrintTable(data, data["snapshots"],
                       {{"NAME", "name", nullptr},
                        {"UUID", "uuid", nullptr},
                        {"LUN", "lun_uuid", nullptr},
                        SizeColumn("SIZE", "size"),
                        TimeColumn("TAKEN", "snapshot_time"),
                        {"STATUS", "status", nullptr},
                        {"LOCKED", "is_user_locked", nullptr}},
                       "uuid");
        });

    NewCommand(snapshot, "take", "Take a snapshot of a LUN",
               "  iscsictl snapshot take lun1 --name before-upgrade\n  iscsictl snapshot take lun1 --locked")
        .Arg("LUN", "src_lun_uuid", "the LUN's name or uuid")
        .Opt("--name,-n", "snapshot_name", "the snapshot's name")
        .Opt("--description", "description", "its description")
        .Opt("--taken-by", "taken_by", "who takes it", Kind::String, "iscsictl")
        .Opt("--locked", "is_locked", "lock it from the start", Kind::Flag)
        .Opt("--app-consistent", "is_app_consistent", "application-consistent", Kind::Flag)
        .Fixed("is_locked", false)
        .Fixed("is_app_consistent", false)
        .Calls(API_LUN, "take_snapshot", "snapshot_uuid", "", [](const Json::Value& data) {
            if (Mode() == OutputMode::Quiet)
                std::cout << data["snapshot_uuid"].asString() << "\n";
            else
                std::cout << "took snapshot " << data["snapshot_uuid"].asString() << "\n";
        });

    NewCommand(snapshot, "get", "Show one snapshot", "  iscsictl snapshot get 1b2c...")
        .Arg("SNAPSHOT", "snapshot_uuid", "the snapshot's uuid or name")
        .Fixed("additional", ParseValue("[\"is_action_locked\",\"locked_app_keys\",\"export_status\"]"))
        .Then([](Json::Value& params) {
            const Json::Value data = Ctx().Call(API_LUN, "get_snapshot", params);
            PrintRecord(data, data["snapshot"], "uuid");
        });

    NewCommand(snapshot, "set", "Rename, describe, lock or unlock a snapshot",
               "  iscsictl snapshot set SNAP --name weekly --locked yes")
        .Arg("SNAPSHOT", "snapshot_uuid", "the snapshot's uuid or name")
        .Opt("--name,-n", "snapshot_name", "the new name")
        .Opt("--description", "description", "the new description")
        .Opt("--locked", "is_user_locked", "yes or no", Kind::Bool)
        .Calls(API_LUN, "set_snapshot", "", "changed");

    NewCommand(snapshot, "restore", "Restore a LUN from its snapshot",
               "  iscsictl snapshot restore lun1 SNAP")
        .Arg("LUN", "src_lun_uuid", "the LUN's name or uuid")
        .Arg("SNAPSHOT", "snapshot_uuid", "the snapshot's uuid or name")
        .Calls(API_LUN, "restore_snapshot", "", "restored");

    Command& clone = NewCommand(snapshot, "clone", "Make a new LUN from a snapshot",
                                "  iscsictl snapshot clone lun1 SNAP lun1-at-snap --wait");
    clone.Arg("LUN", "src_lun_uuid", "the LUN's name or uuid")
        .Arg("SNAPSHOT", "snapshot_uuid", "the snapshot's uuid or name")
        .Arg("NEW_NAME", "cloned_lun_name", "the new LUN's name")
        .Opt("--type,-t", "clone_type", "the new LUN's type", Kind::String, "THIN")
        .Opt("--vpd-unit-sn", "vpd_unit_sn", "the new LUN's unit serial number");
    clone.Waits(
        API_LUN, "clone_snapshot",
        [](const Json::Value& params) {
            const std::string name = params["cloned_lun_name"].asString();
            return [name](const Json::Value& data) {
                return CloneJob(data["cloned_lun_uuid"].asString(), name);
            };
        },
        "cloned_lun_uuid", "cloned into LUN", "cloning into LUN");

    NewCommand(snapshot, "lock", "Lock a snapshot for an application key",
               "  iscsictl snapshot lock SNAP backup-app")
        .Arg("SNAPSHOT", "snapshot_uuid", "the snapshot's uuid or name")
        .Arg("APP_KEY", "app_key", "the application's key")
        .Calls(API_LUN, "lock_snapshot", "", "locked");
    NewCommand(snapshot, "unlock", "Take back an application's lock",
               "  iscsictl snapshot unlock SNAP backup-app")
        .Arg("SNAPSHOT", "snapshot_uuid", "the snapshot's uuid or name")
        .Arg("APP_KEY", "app_key", "the application's key")
        .Calls(API_LUN, "unlock_snapshot", "", "unlocked");

    NewCommand(snapshot, "delete", "Delete snapshots",
               "  iscsictl snapshot delete SNAP\n  iscsictl snapshot delete S1 S2")
        .Arg("SNAPSHOT", "snapshot_uuids", "snapshots' uuids or names", Kind::List)
        .Opt("--deleted-by", "deleted_by", "who deletes them", Kind::String, "iscsictl")
        .Calls(API_LUN, "delete_snapshot", "", "deleted");
}

} // namespace iscsictl
