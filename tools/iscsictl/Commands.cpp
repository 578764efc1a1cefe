#include "Commands.h"

#include "Session.h"

#include <kova/WebAPIErrors.h>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>

namespace iscsictl {

const char API_LUN[] = "KOVA.Core.ISCSI.LUN";
const char API_TARGET[] = "KOVA.Core.ISCSI.Target";
const char API_REPLICATION[] = "KOVA.Core.ISCSI.Replication";
const char API_NODE[] = "KOVA.Core.ISCSI.Node";
const char API_LUNBKP[] = "KOVA.Core.ISCSI.Lunbkp";

namespace {

const char DEFAULT_URL[] = "http://127.0.0.1:5080";

std::string Trimmed(std::string url)
{
    while (!url.empty() && url.back() == '/')
        url.pop_back();
    if (url.find("://") == std::string::npos)
        url = "http://" + url;
    return url;
}

} // namespace

Context& Ctx()
{
    static Context context;
    return context;
}

void Context::Apply() const
{
    Mode() = json ? OutputMode::Json : quiet ? OutputMode::Quiet : OutputMode::Human;
}

std::string Context::Url() const
{
    if (!url.empty())
        return Trimmed(url);
    const char* env = std::getenv("ISCSICTL_URL");
    if (env && *env)
        return Trimmed(env);
    const std::string last = SessionStore().DefaultUrl();
    return last.empty() ? DEFAULT_URL : last;
}

Connection Context::ConnectionOf() const
{
    Connection connection;
    connection.url = Url();
    connection.insecure = insecure;
    connection.caFile = caFile;
    return connection;
}

ApiClient& Context::Client()
{
    if (client_)
        return *client_;
    Connection connection = ConnectionOf();
    SessionEntry entry;
    if (!SessionStore().Find(connection.url, &entry))
        throw Failure(EXIT_AUTH, "not logged in to " + connection.url + "; log in with 'iscsictl login'");
    // The login's TLS choices hold for its session unless this command says otherwise.
    connection.insecure = insecure || entry.insecure;
    if (connection.caFile.empty())
        connection.caFile = entry.caFile;
    client_.reset(new ApiClient(connection));
    client_->SetSession(entry.sid);
    return *client_;
}

Reply Context::Try(const std::string& api, const std::string& method, const Json::Value& params)
{
    Reply reply = Client().Call(api, method, params);
    if (!reply.success &&
        (reply.code == KOVA::WEBAPI_ERR_NOT_LOGGED_IN || reply.code == KOVA::WEBAPI_ERR_SESSION_EXPIRED))
        SessionStore().Remove(Url());
    return reply;
}

Json::Value Context::Call(const std::string& api, const std::string& method, const Json::Value& params)
{
    const Reply reply = Try(api, method, params);
    if (!reply.success) {
        Failure failure = ErrorFailure(reply.code, method);
        if (!reply.detail.isNull() && Mode() != OutputMode::Quiet)
            std::cerr << "iscsictl: details: " << Text(reply.detail) << "\n";
        throw failure;
    }
    return reply.data;
}

// ---- the command builder ----

Command::Command(CLI::App* parent, const std::string& name, const std::string& description,
                 const std::string& examples)
    : app_(parent->add_subcommand(name, description))
{
    if (!examples.empty())
        app_->footer("Examples:\n" + examples);
}

Command& Command::Arg(const std::string& name, const std::string& key, const std::string& help, Kind kind,
                      bool required)
{
    params_.push_back(Param{name, key, kind, "", nullptr, "", {}, false});
    Param& p = params_.back();
    // A list argument is one word of comma-separated items, so KEY=VALUE items can follow it.
    p.option = app_->add_option(name, p.text, help);
    if (required)
        p.option->required();
    return *this;
}

Command& Command::Opt(const std::string& name, const std::string& key, const std::string& help, Kind kind,
                      const std::string& fallback)
{
    params_.push_back(Param{name, key, kind, fallback, nullptr, "", {}, false});
    Param& p = params_.back();
    std::string text = help;
    if (!fallback.empty())
        text += " (default " + fallback + ")";
    if (kind == Kind::Flag)
        p.option = app_->add_flag(name, p.flag, text);
    else if (kind == Kind::List)
        p.option = app_->add_option(name, p.items, text)->delimiter(',');
    else
        p.option = app_->add_option(name, p.text, text);
    return *this;
}

Command& Command::Fixed(const std::string& key, const Json::Value& value)
{
    fixed_.emplace_back(key, value);
    return *this;
}

Command& Command::Local(const std::string& name, const std::string& help, bool flag)
{
    locals_.push_back(Param{name, "", flag ? Kind::Flag : Kind::String, "", nullptr, "", {}, false});
    Param& p = locals_.back();
    p.option = flag ? app_->add_flag(name, p.flag, help) : app_->add_option(name, p.text, help);
    return *this;
}

Command& Command::LocalList(const std::string& name, const std::string& help, bool required)
{
    locals_.push_back(Param{name, "", Kind::List, "", nullptr, "", {}, false});
    Param& p = locals_.back();
    p.option = app_->add_option(name, p.items, help)->delimiter(',');
    if (required)
        p.option->required();
    return *this;
}

const Command::Param* Command::LocalParam(const std::string& name) const
{
    // Found by its whole name ("--portal,-p") or its first ("--portal").
    for (const Param& p : locals_)
        if (p.name == name || p.name.rfind(name + ",", 0) == 0)
            return &p;
    return nullptr;
}

bool Command::Given(const std::string& name) const
{
    const Param* p = LocalParam(name);
    return p && p->option->count() > 0;
}

std::string Command::Value(const std::string& name) const
{
    const Param* p = LocalParam(name);
    return p ? p->text : "";
}

std::vector<std::string> Command::Items(const std::string& name) const
{
    const Param* p = LocalParam(name);
    return p ? p->items : std::vector<std::string>();
}

namespace {

std::vector<std::string> Split(const std::string& text)
{
    std::vector<std::string> items;
    size_t start = 0;
    while (start <= text.size()) {
        const size_t comma = text.find(',', start);
        items.push_back(text.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
        if (comma == std::string::npos)
            break;
        start = comma + 1;
    }
    return items;
}

Json::Value Convert(const std::string& name, Kind kind, const std::string& text)
{
    switch (kind) {
    case Kind::Size:
        return Json::Value(static_cast<Json::UInt64>(ParseSize(text)));
    case Kind::Number: {
        const Json::Value value = ParseValue(text);
        if (!value.isNumeric())
            throw Failure(EXIT_USAGE, name + ": not a number: '" + text + "'");
        return value;
    }
    case Kind::Bool:
        if (text == "true" || text == "yes" || text == "on" || text == "1")
            return true;
        if (text == "false" || text == "no" || text == "off" || text == "0")
            return false;
        throw Failure(EXIT_USAGE, name + ": expected yes or no, not '" + text + "'");
    case Kind::Json:
        return ParseValue(text);
    default:
        return Json::Value(text);
    }
}

} // namespace

Json::Value Command::Params() const
{
    Json::Value params(Json::objectValue);
    for (const auto& fixed : fixed_)
        params[fixed.first] = fixed.second;
    for (const Param& p : params_) {
        const bool given = p.option->count() > 0;
        if (!given && p.fallback.empty())
            continue;
        if (p.kind == Kind::Flag) {
            params[p.key] = true;
        } else if (p.kind == Kind::List) {
            Json::Value list(Json::arrayValue);
            std::vector<std::string> items = p.items;
            if (items.empty())
                items = Split(given ? p.text : p.fallback);
            for (const std::string& item : items)
                if (!item.empty())
                    list.append(item);
            params[p.key] = list;
        } else {
            params[p.key] = Convert(p.name, p.kind, given ? p.text : p.fallback);
        }
    }
    AddParams(params, extra_);
    return params;
}

void Command::Then(std::function<void(Json::Value& params)> action)
{
    app_->add_option("PARAMS", extra_,
                     "further parameters of the method (values read as JSON when they parse)")
        ->type_name("KEY=VALUE");
    app_->callback([this, action] {
        Ctx().Apply();
        Json::Value params = Params();
        action(params);
    });
}

void Command::Calls(const std::string& api, const std::string& method, const std::string& idKey,
                    const std::string& message, std::function<void(const Json::Value&)> print)
{
    Then([api, method, idKey, message, print](Json::Value& params) {
        const Json::Value data = Ctx().Call(api, method, params);
        if (print && Mode() != OutputMode::Json)
            print(data);
        else
            PrintDone(data, idKey, message);
    });
}

void Command::Waits(const std::string& api, const std::string& method,
                    std::function<JobOfData(const Json::Value& params)> prepare, const std::string& idKey,
                    const std::string& done, const std::string& started)
{
    Local("--wait,-w", "wait for the work to end, with a progress bar");
    Then([this, api, method, prepare, idKey, done, started](Json::Value& params) {
        const bool wait = Given("--wait");
        const JobOfData job = wait ? prepare(params) : JobOfData();
        const Json::Value data = Ctx().Call(api, method, params);
        if (wait)
            WaitFor(job(data));
        const std::string message = wait ? done : started;
        PrintDone(data, idKey, idKey.empty() ? message : message + " " + Text(data[idKey]));
    });
}

Json::Value ParamsWith(const std::string& key, const std::string& value)
{
    Json::Value params(Json::objectValue);
    params[key] = value;
    return params;
}

CLI::App* NewFamily(CLI::App& app, const std::string& name, const std::string& description)
{
    CLI::App* family = app.add_subcommand(name, description);
    family->require_subcommand(1);
    return family;
}

Command& NewCommand(CLI::App* parent, const std::string& name, const std::string& description,
                    const std::string& examples)
{
    static std::deque<std::unique_ptr<Command>> commands;
    commands.emplace_back(new Command(parent, name, description, examples));
    return *commands.back();
}

// ---- login, logout, call ----

namespace {

// Reads a line from the terminal without echo (from stdin when there is no terminal).
std::string AskSecret(const std::string& prompt)
{
    const int tty = ::open("/dev/tty", O_RDWR | O_CLOEXEC);
    const int in = tty >= 0 ? tty : STDIN_FILENO;
    const int out = tty >= 0 ? tty : STDERR_FILENO;
    // Echo goes off before the prompt shows, so that nothing typed after it is echoed; what
    // was typed ahead stays in the input.
    termios saved{};
    const bool terminal = ::tcgetattr(in, &saved) == 0;
    if (terminal) {
        termios quiet = saved;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        quiet.c_lflag |= ECHONL;
        ::tcsetattr(in, TCSANOW, &quiet);
    }
    if (::write(out, prompt.data(), prompt.size()) < 0) {
        // nothing to do: the prompt is a courtesy
    }
    std::string line;
    char c = 0;
    while (::read(in, &c, 1) == 1 && c != '\n')
        line += c;
    if (terminal)
        ::tcsetattr(in, TCSANOW, &saved);
    if (tty >= 0)
        ::close(tty);
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return line;
}

} // namespace

void AddConnectionCommands(CLI::App& app)
{
    struct LoginOptions {
        std::string user = "admin";
        bool passwordStdin = false;
        std::string otp;
    };
    static LoginOptions login;
    CLI::App* loginApp = app.add_subcommand("login", "Log in to the appliance and keep the session");
    loginApp->add_option("--user,-u", login.user, "account name (default admin)");
    loginApp->add_flag("--password-stdin", login.passwordStdin, "read the password from standard input");
    loginApp->add_option("--otp-code", login.otp, "the one-time code (asked for when the account needs one)");
    loginApp->footer("Examples:\n"
                     "  iscsictl login --url https://nas1:5443 --user admin\n"
                     "  iscsictl login --password-stdin < password-file\n"
                     "The session is kept in ~/.config/iscsictl/session (mode 0600).");
    loginApp->callback([] {
        Context& ctx = Ctx();
        ctx.Apply();
        std::string password;
        if (login.passwordStdin) {
            std::getline(std::cin, password);
            if (!password.empty() && password.back() == '\r')
                password.pop_back();
        } else {
            password = AskSecret("Password for " + login.user + " at " + ctx.Url() + ": ");
        }
        if (password.empty())
            throw Failure(EXIT_USAGE, "login: empty password");
        ApiClient client(ctx.ConnectionOf());
        Reply reply = client.Login(login.user, password, login.otp);
        if (!reply.success && reply.code == KOVA::WEBAPI_ERR_OTP_REQUIRED && login.otp.empty())
            reply = client.Login(login.user, password, AskSecret("One-time code: "));
        if (!reply.success)
            throw ErrorFailure(reply.code, "login");
        SessionEntry entry;
        entry.sid = reply.data["sid"].asString();
        entry.user = login.user;
        entry.insecure = ctx.insecure;
        entry.caFile = ctx.caFile;
        SessionStore store;
        store.Put(ctx.Url(), entry);
        if (Mode() == OutputMode::Human)
            std::cout << "logged in to " << ctx.Url() << " as " << login.user << "\n";
    });

    CLI::App* logoutApp = app.add_subcommand("logout", "End the session and forget it");
    logoutApp->callback([] {
        Context& ctx = Ctx();
        ctx.Apply();
        const std::string url = ctx.Url();
        ApiClient& client = ctx.Client();
        const Reply reply = client.Logout();
        SessionStore().Remove(url);
        // A session the daemon no longer knows is over anyway.
        if (!reply.success && reply.code != KOVA::WEBAPI_ERR_NOT_LOGGED_IN &&
            reply.code != KOVA::WEBAPI_ERR_SESSION_EXPIRED)
            throw ErrorFailure(reply.code, "logout");
        if (Mode() == OutputMode::Human)
            std::cout << "logged out of " << url << "\n";
    });

    struct CallOptions {
        std::string api;
        std::string method;
        std::vector<std::string> params;
    };
    static CallOptions call;
    CLI::App* callApp = app.add_subcommand("call", "Call any method of the web API");
    callApp
        ->add_option("API", call.api,
                     "the API; the prefix KOVA.Core.ISCSI. may be left out (LUN, Target, ...)")
        ->required();
    callApp->add_option("METHOD", call.method, "the method")->required();
    callApp->add_option("PARAMS", call.params, "parameters (values read as JSON when they parse)")
        ->type_name("KEY=VALUE");
    callApp->footer("Examples:\n"
                    "  iscsictl call LUN list additional='[\"status\"]'\n"
                    "  iscsictl call KOVA.Core.ISCSI.VLUN get uuid=11111111-2222-4333-8444-555555555555\n"
                    "  iscsictl call Target map_lun target_id=1 lun_uuids='[\"lun1\"]'\n"
                    "Prints the reply's data as JSON.");
    callApp->callback([] {
        Ctx().Apply();
        Json::Value params(Json::objectValue);
        AddParams(params, call.params);
        const std::string api =
            call.api.find('.') == std::string::npos ? "KOVA.Core.ISCSI." + call.api : call.api;
        const Reply reply = Ctx().Try(api, call.method, params);
        if (!reply.success) {
            if (!reply.detail.isNull())
                std::cerr << "iscsictl: details: " << Text(reply.detail) << "\n";
            throw ErrorFailure(reply.code, call.method);
        }
        if (reply.raw)
            std::cout << reply.body;
        else if (Mode() != OutputMode::Quiet)
            PrintJson(reply.data);
    });
}

} // namespace iscsictl
