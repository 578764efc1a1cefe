// iscsictl: the command line client of the iSCSI service's web API.
#include "Commands.h"

#include <curl/curl.h>

#include <iostream>

using namespace iscsictl;

int main(int argc, char** argv)
{
    curl_global_init(CURL_GLOBAL_DEFAULT);
    CLI::App app("iscsictl: manage the appliance's iSCSI service (LUNs, snapshots, targets, replication, "
                 "nodes, log) through its web API.",
                 "iscsictl");
    app.require_subcommand(1);
    app.fallthrough();
    Context& ctx = Ctx();
    app.add_option(
        "--url", ctx.url,
        "the appliance, e.g. https://nas1:5443 (default: $ISCSICTL_URL, else the last login's, else "
        "http://127.0.0.1:5080)");
    app.add_flag("--insecure,-k", ctx.insecure, "HTTPS without checking the daemon's certificate");
    app.add_option("--cacert", ctx.caFile, "trust this CA certificate (PEM) for HTTPS");
    app.add_flag("--json", ctx.json, "print the API's data as JSON, for scripts");
    app.add_flag("--quiet,-q", ctx.quiet, "print ids only");
    app.footer("Examples:\n"
               "  iscsictl login --user admin\n"
               "  iscsictl lun create lun1 --size 10G\n"
               "  iscsictl target create t1 iqn.2026-11.com.example:t1\n"
               "  iscsictl target map t1 lun1\n"
               "  iscsictl lun list\n"
               "  iscsictl snapshot take lun1 --name before-upgrade\n"
               "  iscsictl lun clone lun1 lun1-copy --wait\n"
               "  iscsictl --json target get t1\n"
               "  iscsictl call LUN list additional='[\"status\"]'\n"
               "\n"
               "Exit status: 0 done; 1 the API refused the call or the job failed (the error code and its\n"
               "text are on stderr); 2 usage; 3 connection (daemon unreachable, TLS, no API reply);\n"
               "4 authentication (not logged in, session over, login refused); 130 interrupted.\n"
               "See 'iscsictl COMMAND --help' for each command.");
    AddConnectionCommands(app);
    AddLunCommands(app);
    AddSnapshotCommands(app);
    AddTargetCommands(app);
    AddNodeCommands(app);
    AddLogCommands(app);
    AddReplicationCommands(app);
    AddBackupCommands(app);
    AddTopCommand(app);

    int status = EXIT_OK;
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        status = app.exit(e);
        if (status != 0)
            status = EXIT_USAGE;
    } catch (const Failure& e) {
        std::cerr << "iscsictl: " << e.what() << "\n";
        status = e.Status();
    } catch (const std::exception& e) {
        std::cerr << "iscsictl: " << e.what() << "\n";
        status = EXIT_REFUSED;
    }
    curl_global_cleanup();
    return status;
}
