// The command tree of iscsictl: the run's context (connection, session, output mode) and a
// small builder that maps one command onto one API method: positional arguments and options
// become parameters, KEY=VALUE items after them add any other parameter of the method.
#pragma once

#include "ApiClient.h"
#include "Output.h"
#include "Wait.h"

#include <CLI/CLI.hpp>
#include <json/json.h>

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace iscsictl {

extern const char API_LUN[];
extern const char API_TARGET[];
extern const char API_REPLICATION[];
extern const char API_NODE[];
extern const char API_LUNBKP[];

// Options of every command, and the session they lead to.
class Context {
public:
    std::string url; // --url or ISCSICTL_URL; empty: the last login's, else the local daemon
    bool insecure = false;
    std::string caFile;
    bool json = false;
    bool quiet = false;

    // Sets the output mode from --json and -q; each command's action begins with it.
    void Apply() const;
    // The appliance's URL this run talks to.
    std::string Url() const;
    // The connection to Url() without a session (login).
    Connection ConnectionOf() const;
    // A client with the stored session of Url(); an authentication failure when there is none.
    ApiClient& Client();
    // Calls a method; its data, or a failure with the code's text (a session the daemon no
    // longer knows is forgotten).
    Json::Value Call(const std::string& api, const std::string& method, const Json::Value& params);
    // The same without turning an error into a failure.
    Reply Try(const std::string& api, const std::string& method, const Json::Value& params);

private:
    std::unique_ptr<ApiClient> client_;
};

Context& Ctx();

// How an option's text becomes a parameter.
enum class Kind {
    String, // as given
    Size,   // 10G, 512M: unsigned byte count
    Number, // a JSON number
    Flag,   // no value: true
    Bool,   // true/false, yes/no, on/off
    List,   // comma-separated or repeated: an array of strings
    Json,   // JSON text, or a string when it does not parse
};

class Command {
public:
    Command(CLI::App* parent, const std::string& name, const std::string& description,
            const std::string& examples);

    // A positional argument for the parameter key.
    Command& Arg(const std::string& name, const std::string& key, const std::string& help,
                 Kind kind = Kind::String, bool required = true);
    // An option --name for the parameter key; a non-empty fallback is sent when the option
    // is not given.
    Command& Opt(const std::string& name, const std::string& key, const std::string& help,
                 Kind kind = Kind::String, const std::string& fallback = "");
    // A parameter always sent with this value.
    Command& Fixed(const std::string& key, const Json::Value& value);
    // An option of the command itself, not sent (read it with Given/Value in the action).
    Command& Local(const std::string& name, const std::string& help, bool flag = true);
    // A repeatable, comma-separated option of the command itself (Items reads it).
    Command& LocalList(const std::string& name, const std::string& help, bool required = false);
    bool Given(const std::string& name) const;
    std::string Value(const std::string& name) const;
    std::vector<std::string> Items(const std::string& name) const;

    // Runs with the parameters once the command line is read.
    void Then(std::function<void(Json::Value& params)> action);
    // The usual action: call api's method and print its data with print (default: PrintDone
    // with message and idKey).
    void Calls(const std::string& api, const std::string& method, const std::string& idKey = "",
               const std::string& message = "done", std::function<void(const Json::Value&)> print = nullptr);

    // A method that starts long work, with --wait: prepare, given the parameters before the
    // call (when --wait is given), answers how to find the job from the call's data; the job
    // is then followed to its end. Prints done or started, with the member idKey of the data.
    using JobOfData = std::function<Job(const Json::Value& data)>;
    void Waits(const std::string& api, const std::string& method,
               std::function<JobOfData(const Json::Value& params)> prepare, const std::string& idKey,
               const std::string& done, const std::string& started);

    // The job of a method that names it in its parameters: the same whatever the data.
    static JobOfData Known(const Job& job)
    {
        return [job](const Json::Value&) { return job; };
    }

    CLI::App* App() { return app_; }

private:
    struct Param {
        std::string name;
        std::string key;
        Kind kind;
        std::string fallback;
        CLI::Option* option = nullptr;
        std::string text;
        std::vector<std::string> items;
        bool flag = false;
    };
    Json::Value Params() const;
    const Param* LocalParam(const std::string& name) const;

    CLI::App* app_;
    std::deque<Param> params_;
    std::deque<Param> locals_;
    std::vector<std::pair<std::string, Json::Value>> fixed_;
    std::vector<std::string> extra_;
};

// A parameter object of one member.
Json::Value ParamsWith(const std::string& key, const std::string& value);

// A family of commands (lun, target, ...): one of its subcommands is required.
CLI::App* NewFamily(CLI::App& app, const std::string& name, const std::string& description);

// Makes a command that lives as long as the program.
Command& NewCommand(CLI::App* parent, const std::string& name, const std::string& description,
                    const std::string& examples);

// The command families.
void AddConnectionCommands(CLI::App& app);
void AddLunCommands(CLI::App& app);
void AddSnapshotCommands(CLI::App& app);
void AddTargetCommands(CLI::App& app);
void AddNodeCommands(CLI::App& app);
void AddLogCommands(CLI::App& app);
void AddReplicationCommands(CLI::App& app);
void AddBackupCommands(CLI::App& app);
void AddTopCommand(CLI::App& app);

} // namespace iscsictl
