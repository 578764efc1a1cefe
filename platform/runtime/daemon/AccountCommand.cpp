// "kova-webapid account ...": the accounts of a data directory, managed offline (the daemon
// may run meanwhile: the database is shared in WAL mode).
#include "AuthStore.h"
#include "DaemonOptions.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

namespace KOVA {
namespace Daemon {

namespace {

constexpr size_t MAX_PASSWORD_LENGTH = 4096;

// The first line of a file ("-" or empty: standard input), without its line end.
bool ReadPassword(const std::string& file, std::string& password)
{
    std::string line;
    if (file.empty() || file == "-") {
        if (!std::getline(std::cin, line) && line.empty())
            return false;
    } else {
        std::ifstream in(file);
        if (!in || (!std::getline(in, line) && line.empty()))
            return false;
    }
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n'))
        line.pop_back();
    password = line;
    return !password.empty() && password.size() <= MAX_PASSWORD_LENGTH;
}

bool ValidName(const std::string& name)
{
    if (name.empty() || name.size() > 128)
        return false;
    for (const char c : name) {
        const bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                        c == '.' || c == '_' || c == '-' || c == '@';
        if (!ok)
            return false;
    }
    return true;
}

std::string UriEscape(const std::string& text)
{
    static const char HEX[] = "0123456789ABCDEF";
    std::string out;
    for (const unsigned char c : text) {
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
            c == '_' || c == '-') {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += HEX[c >> 4];
            out += HEX[c & 15];
        }
    }
    return out;
}

int Report(AuthResult result, const std::string& name)
{
    switch (result) {
    case AuthResult::Ok:
        return 0;
    case AuthResult::NoSuchAccount:
        std::fprintf(stderr, "kova-webapid: no account '%s'\n", name.c_str());
        return 1;
    case AuthResult::Exists:
        std::fprintf(stderr, "kova-webapid: account '%s' exists already\n", name.c_str());
        return 1;
    default:
        std::fprintf(stderr, "kova-webapid: the account database failed\n");
        return 1;
    }
}

} // namespace

int RunAccountCommand(int argc, char** argv)
{
    CLI::App app("Manages the accounts of kova-webapid's data directory.", "kova-webapid account");
    app.require_subcommand(1);
    std::string dataDir = "./data";
    std::string name;
    std::string passwordFile;
    app.add_option("--data-dir", dataDir, "Data directory of the daemon")->capture_default_str();

    CLI::App* add = app.add_subcommand("add", "Adds an account (password from --password-file or stdin)");
    CLI::App* passwd = app.add_subcommand("passwd", "Sets an account's password and ends its sessions");
    CLI::App* del = app.add_subcommand("delete", "Deletes an account and its sessions");
    CLI::App* otpOn = app.add_subcommand("otp-enable", "Gives an account a new one-time code secret");
    CLI::App* otpOff = app.add_subcommand("otp-disable", "Takes an account's one-time code secret away");
    CLI::App* list = app.add_subcommand("list", "Lists the accounts");
    for (CLI::App* sub : {add, passwd, del, otpOn, otpOff}) {
        sub->add_option("account", name, "Account name")->required();
        sub->add_option("--data-dir", dataDir, "Data directory of the daemon");
    }
    list->add_option("--data-dir", dataDir, "Data directory of the daemon");
    for (CLI::App* sub : {add, passwd})
        sub->add_option("--password-file", passwordFile,
                        "Read the password's first line from FILE (- : stdin)");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e);
    }
    if (!list->parsed() && !ValidName(name)) {
        std::fprintf(stderr, "kova-webapid: an account name is 1 to 128 of A-Z a-z 0-9 . _ - @\n");
        return 2;
    }
    std::error_code ec;
    std::filesystem::create_directories(dataDir, ec);
    AuthStore store;
    std::string error;
    if (ec || !store.Open(dataDir + "/webapi.db", error)) {
        std::fprintf(stderr, "kova-webapid: cannot open the account database: %s\n",
                     ec ? ec.message().c_str() : error.c_str());
        return 1;
    }
    if (add->parsed() || passwd->parsed()) {
        std::string password;
        if (!ReadPassword(passwordFile, password)) {
            std::fprintf(stderr, "kova-webapid: no password read (one line, 1 to 4096 bytes)\n");
            return 2;
        }
        return Report(add->parsed() ? store.AddAccount(name, password) : store.SetPassword(name, password),
                      name);
    }
    if (del->parsed())
        return Report(store.DeleteAccount(name), name);
    if (otpOff->parsed())
        return Report(store.DisableOtp(name), name);
    if (otpOn->parsed()) {
        std::string secret;
        const int rc = Report(store.EnableOtp(name, secret), name);
        if (rc == 0) {
            std::printf("secret: %s\n", secret.c_str());
            std::printf("uri: otpauth://totp/kova-webapid:%s?secret=%s&issuer=kova-webapid&algorithm=SHA1&"
                        "digits=6&period=30\n",
                        UriEscape(name).c_str(), secret.c_str());
        }
        return rc;
    }
    for (const auto& account : store.ListAccounts())
        std::printf("%s\t%s\n", account.name.c_str(), account.otpEnabled ? "otp" : "-");
    return 0;
}

} // namespace Daemon
} // namespace KOVA
