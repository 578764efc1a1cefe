// target, acl and portal: the Target API's methods.
#include "Commands.h"

#include <algorithm>
#include <iostream>

namespace iscsictl {

namespace {

// "10.0.0.1:3260", "[fe80::1]:3260", "10.0.0.1", "eth0", "eth0:3261": one network portal.
Json::Value Portal(const std::string& text)
{
    Json::Value portal(Json::objectValue);
    std::string host = text;
    std::string port;
    if (!text.empty() && text[0] == '[') {
        const size_t close = text.find(']');
        if (close == std::string::npos)
            throw Failure(EXIT_USAGE, "not a portal: '" + text + "'");
        host = text.substr(1, close - 1);
        if (close + 1 < text.size() && text[close + 1] == ':')
            port = text.substr(close + 2);
    } else if (std::count(text.begin(), text.end(), ':') == 1) {
        host = text.substr(0, text.find(':'));
        port = text.substr(text.find(':') + 1);
    }
    const bool address = host.find_first_not_of("0123456789.:abcdefABCDEF") == std::string::npos &&
                         (host.find('.') != std::string::npos || host.find(':') != std::string::npos);
    portal[address ? "ip" : "interface_name"] = host;
    if (!port.empty()) {
        const Json::Value number = ParseValue(port);
        if (!number.isUInt())
            throw Failure(EXIT_USAGE, "not a port: '" + port + "' in '" + text + "'");
        portal["port"] = number.asUInt();
    }
    return portal;
}

void AddTarget(CLI::App& app)
{
    CLI::App* target = NewFamily(app, "target", "Targets: list, create, change, enable, map LUNs");

    NewCommand(target, "list", "List the targets",
               "  iscsictl target list\n  iscsictl target list --lun lun1")
        .Opt("--lun", "lun_uuid", "only the targets a LUN is mapped to")
        .Fixed("additional", ParseValue("[\"status\",\"mapped_lun\"]"))
        .Then([](Json::Value& params) {
            const Json::Value data = Ctx().Call(API_TARGET, "list", params);
            PrintTable(
                data, data["targets"],
                {{"ID", "target_id", nullptr},
                 {"NAME", "name", nullptr},
                 {"IQN", "iqn", nullptr},
                 {"ENABLED", "is_enabled", nullptr},
                 {"STATUS", "status", nullptr},
                 {"LUNS", "mapped_luns", [](const Json::Value& v) { return std::to_string(v.size()); }}},
                "target_id");
        });

    NewCommand(target, "get", "Show one target", "  iscsictl target get 1")
        .Arg("TARGET", "target_id", "the target's id or name")
        .Fixed("additional", ParseValue("[\"mapped_lun\",\"acls\",\"connected_sessions\",\"status\"]"))
        .Then([](Json::Value& params) {
            const Json::Value data = Ctx().Call(API_TARGET, "get", params);
            PrintRecord(data, data["target"], "target_id");
        });

    NewCommand(target, "create", "Create a target",
               "  iscsictl target create t1 iqn.2026-11.com.example:t1\n"
               "  iscsictl target create t2 iqn.2026-11.com.example:t2 --auth 1 --user u --password secret")
        .Arg("NAME", "name", "the target's name")
        .Arg("IQN", "iqn", "the target's IQN")
        .Opt("--auth", "auth_type", "0 none, 1 CHAP, 2 mutual CHAP", Kind::Number, "0")
        .Opt("--max-sessions", "max_sessions", "sessions at most", Kind::Number)
        .Opt("--user", "user", "CHAP user")
        .Opt("--password", "password", "CHAP password")
        .Opt("--mutual-user", "mutual_user", "mutual CHAP user")
        .Opt("--mutual-password", "mutual_password", "mutual CHAP password")
        .Calls(API_TARGET, "create", "target_id", "", [](const Json::Value& data) {
            if (Mode() == OutputMode::Quiet)
                std::cout << Text(data["target_id"]) << "\n";
            else
                std::cout << "created target " << Text(data["target_id"]) << "\n";
        });

    NewCommand(target, "set", "Change a target", "  iscsictl target set 1 --name t1b --max-sessions 4")
        .Arg("TARGET", "target_id", "the target's id or name")
        .Opt("--name,-n", "name", "the new name")
        .Opt("--iqn", "iqn", "the new IQN")
        .Opt("--auth", "auth_type", "0 none, 1 CHAP, 2 mutual CHAP", Kind::Number)
        .Opt("--max-sessions", "max_sessions", "sessions at most", Kind::Number)
        .Opt("--header-digest", "has_header_checksum", "yes or no", Kind::Bool)
        .Opt("--data-digest", "has_data_checksum", "yes or no", Kind::Bool)
        .Opt("--max-recv-seg", "max_recv_seg_bytes", "largest received segment", Kind::Size)
        .Opt("--max-send-seg", "max_send_seg_bytes", "largest sent segment", Kind::Size)
        .Opt("--user", "user", "CHAP user")
        .Opt("--password", "password", "CHAP password")
        .Opt("--mutual-user", "mutual_user", "mutual CHAP user")
        .Opt("--mutual-password", "mutual_password", "mutual CHAP password")
        .Calls(API_TARGET, "set", "", "changed");

    NewCommand(target, "delete", "Delete a target", "  iscsictl target delete 1")
        .Arg("TARGET", "target_id", "the target's id or name")
        .Calls(API_TARGET, "delete", "", "deleted");
    NewCommand(target, "enable", "Enable a target", "  iscsictl target enable 1")
        .Arg("TARGET", "target_id", "the target's id or name")
        .Calls(API_TARGET, "enable", "", "enabled");
    NewCommand(target, "disable", "Disable a target", "  iscsictl target disable 1")
        .Arg("TARGET", "target_id", "the target's id or name")
        .Calls(API_TARGET, "disable", "", "disabled");
    NewCommand(target, "map", "Map LUNs to a target", "  iscsictl target map 1 lun1,lun2")
        .Arg("TARGET", "target_id", "the target's id or name")
        .Arg("LUNS", "lun_uuids", "LUN names or uuids, comma-separated", Kind::List)
        .Calls(API_TARGET, "map_lun", "", "mapped");
    NewCommand(target, "unmap", "Unmap LUNs from a target", "  iscsictl target unmap 1 lun2")
        .Arg("TARGET", "target_id", "the target's id or name")
        .Arg("LUNS", "lun_uuids", "LUN names or uuids, comma-separated", Kind::List)
        .Calls(API_TARGET, "unmap_lun", "", "unmapped");
}

// The masks of --rw, --ro and --none as the acls array.
Json::Value Masks(Command& command)
{
    Json::Value acls(Json::arrayValue);
    const std::pair<const char*, const char*> kinds[] = {{"--rw", "rw"}, {"--ro", "r"}, {"--none", "-"}};
    for (const auto& kind : kinds) {
        for (const std::string& iqn : command.Items(kind.first)) {
            Json::Value mask;
            mask["iqn"] = iqn;
            mask["permission"] = kind.second;
            acls.append(mask);
        }
    }
    return acls;
}

void AddMaskOptions(Command& command)
{
    command.LocalList("--rw", "initiator IQNs with read and write access (comma-separated, repeatable)")
        .LocalList("--ro", "initiator IQNs with read-only access")
        .LocalList("--none", "initiator IQNs with no access");
}

void AddAcl(CLI::App& app)
{
    CLI::App* acl = NewFamily(app, "acl", "Access masks of targets: which initiator may do what");

    NewCommand(acl, "list", "List a target's masks", "  iscsictl acl list 1")
        .Arg("TARGET", "target_id", "the target's id or name")
        .Fixed("additional", ParseValue("[\"acls\"]"))
        .Then([](Json::Value& params) {
            const Json::Value data = Ctx().Call(API_TARGET, "get", params);
            PrintTable(data, data["target"]["acls"],
                       {{"INITIATOR", "iqn", nullptr}, {"PERMISSION", "permission", nullptr}}, "iqn");
        });

    Command& set = NewCommand(
        acl, "set", "Replace a target's masks",
        "  iscsictl acl set 1 --rw iqn.1994-05.com.redhat:host1 --ro iqn.1994-05.com.redhat:host2");
    set.Arg("TARGET_ID", "target_id", "the target's id (a number)", Kind::Number);
    AddMaskOptions(set);
    set.Then([&set](Json::Value& params) {
        params["acls"] = Masks(set);
        PrintDone(Ctx().Call(API_TARGET, "acl_masks_set", params), "", "set");
    });

    Command& add = NewCommand(acl, "add", "Add masks to a target",
                              "  iscsictl acl add 1 --rw iqn.1994-05.com.redhat:host1");
    add.Arg("TARGET", "target_id", "the target's id or name");
    AddMaskOptions(add);
    add.Then([&add](Json::Value& params) {
        params["acls"] = Masks(add);
        PrintDone(Ctx().Call(API_TARGET, "acl_masks_add", params), "", "added");
    });

    NewCommand(acl, "remove", "Remove the masks of initiators",
               "  iscsictl acl remove 1 iqn.1994-05.com.redhat:host1")
        .Arg("TARGET", "target_id", "the target's id or name")
        .Arg("INITIATORS", "initiator_iqns", "initiator IQNs, comma-separated", Kind::List)
        .Calls(API_TARGET, "acl_masks_remove", "", "removed");
}

void AddPortal(CLI::App& app)
{
    CLI::App* portal = NewFamily(app, "portal", "Network portals of targets");
    for (const auto& which :
         {std::make_pair("add", "network_portals_add"), std::make_pair("remove", "network_portals_remove")}) {
        const std::string method = which.second;
        Command& command = NewCommand(portal, which.first,
                                      std::string(which.first) == "add" ? "Add portals to a target"
                                                                        : "Remove portals from a target",
                                      std::string("  iscsictl portal ") + which.first +
                                          " 1 -p 10.0.0.5:3260 -p [fd00::5]:3260 -p eth1");
        command.Arg("TARGET", "target_id", "the target's id or name");
        command.LocalList("--portal,-p", "ADDR[:PORT], [IPV6]:PORT or INTERFACE[:PORT]; repeatable", true);
        command.Then([&command, method](Json::Value& params) {
            Json::Value portals(Json::arrayValue);
            for (const std::string& text : command.Items("--portal"))
                portals.append(Portal(text));
            params["network_portals"] = portals;
            PrintDone(Ctx().Call(API_TARGET, method, params), "", "done");
        });
    }
}

} // namespace

void AddTargetCommands(CLI::App& app)
{
    AddTarget(app);
    AddAcl(app);
    AddPortal(app);
}

} // namespace iscsictl
