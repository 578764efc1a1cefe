// The daemon's accounts, one-time codes, sessions and login throttling, without a server: an
// account store on a private database with a clock the test sets.
#include "AuthStore.h"
#include "Authenticator.h"
#include "EntryWire.h"
#include "SyslogCapture.h"

#include <kova/WebAPIErrors.h>

#include <gtest/gtest.h>

#include <oath.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>

using namespace KOVA::Daemon;

namespace {

// 2033-05-18, in the middle of a 30 s step.
constexpr std::int64_t T0 = 2000000010;

// The code of a base32 secret at a time, computed here with liboath itself.
std::string Code(const std::string& base32, std::int64_t when)
{
    oath_init();
    char* raw = nullptr;
    size_t length = 0;
    EXPECT_EQ(oath_base32_decode(base32.data(), base32.size(), &raw, &length), OATH_OK);
    char code[7] = {0};
    EXPECT_EQ(oath_totp_generate(raw, length, static_cast<time_t>(when), 30, 0, 6, code), OATH_OK);
    std::free(raw);
    return code;
}

// A six-digit code that none of the steps around when gives.
std::string WrongCode(const std::string& base32, std::int64_t when)
{
    std::set<std::string> valid;
    for (int skew = -1; skew <= 1; ++skew)
        valid.insert(Code(base32, when + skew * 30));
    for (int i = 0;; ++i) {
        char text[8];
        std::snprintf(text, sizeof text, "%06d", (123456 + i * 7919) % 1000000);
        if (!valid.count(text))
            return text;
    }
}

class AuthStoreTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::string error;
        ASSERT_TRUE(store.Open(":memory:", error)) << error;
        store.SetPasswordCost(PasswordCost::Minimum());
        store.SetClock([this] { return now; });
        store.SetSessionLifetimes(60, 600);
        ASSERT_EQ(store.AddAccount("alice", "right password"), AuthResult::Ok);
    }

    AuthStore store;
    std::int64_t now = T0;
};

} // namespace

TEST_F(AuthStoreTest, AccountsAreAddedListedAndDeleted)
{
    EXPECT_EQ(store.AddAccount("alice", "x"), AuthResult::Exists);
    EXPECT_EQ(store.AddAccount("bob", "x"), AuthResult::Ok);
    ASSERT_EQ(store.ListAccounts().size(), 2u);
    EXPECT_EQ(store.ListAccounts()[1].name, "bob");
    EXPECT_EQ(store.AccountCount(), 2u);
    EXPECT_EQ(store.DeleteAccount("bob"), AuthResult::Ok);
    EXPECT_EQ(store.DeleteAccount("bob"), AuthResult::NoSuchAccount);
    EXPECT_EQ(store.SetPassword("bob", "y"), AuthResult::NoSuchAccount);
    std::string secret;
    EXPECT_EQ(store.EnableOtp("bob", secret), AuthResult::NoSuchAccount);
    EXPECT_EQ(store.AccountCount(), 1u);
}

TEST_F(AuthStoreTest, PasswordsAreCheckedAndStoredAsArgon2idHashes)
{
    EXPECT_EQ(store.CheckLogin("alice", "right password", ""), AuthResult::Ok);
    EXPECT_EQ(store.CheckLogin("alice", "wrong password", ""), AuthResult::BadPassword);
    EXPECT_EQ(store.CheckLogin("alice", "", ""), AuthResult::BadPassword);
    EXPECT_EQ(store.CheckLogin("nobody", "right password", ""), AuthResult::NoSuchAccount);
    EXPECT_EQ(store.SetPassword("alice", "new password"), AuthResult::Ok);
    EXPECT_EQ(store.CheckLogin("alice", "right password", ""), AuthResult::BadPassword);
    EXPECT_EQ(store.CheckLogin("alice", "new password", ""), AuthResult::Ok);
}

TEST_F(AuthStoreTest, TheDatabaseHoldsHashesNotPasswordsNorSessionIds)
{
    char pattern[] = "/tmp/kova-auth-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    const std::string path = std::string(pattern) + "/webapi.db";
    std::string sid;
    {
        AuthStore disk;
        std::string error;
        ASSERT_TRUE(disk.Open(path, error)) << error;
        disk.SetPasswordCost(PasswordCost::Minimum());
        ASSERT_EQ(disk.AddAccount("carol", "plain secret text"), AuthResult::Ok);
        ASSERT_EQ(disk.CreateSession("carol", "10.0.0.1", sid), AuthResult::Ok);
    }
    EXPECT_EQ(std::filesystem::status(path).permissions() & std::filesystem::perms::all,
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    std::string bytes;
    for (const char* suffix : {"", "-wal"}) {
        FILE* f = std::fopen((path + suffix).c_str(), "rb");
        if (!f)
            continue;
        char buffer[4096];
        size_t n;
        while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0)
            bytes.append(buffer, n);
        std::fclose(f);
    }
    EXPECT_NE(bytes.find("$argon2id$"), std::string::npos);
    EXPECT_EQ(bytes.find("plain secret text"), std::string::npos);
    EXPECT_EQ(bytes.find(sid), std::string::npos);
    // And the session outlives the store (a restart of the daemon).
    AuthStore again;
    std::string error;
    ASSERT_TRUE(again.Open(path, error)) << error;
    std::string account;
    EXPECT_EQ(again.CheckSession(sid, account), AuthResult::Ok);
    EXPECT_EQ(account, "carol");
    std::error_code ec;
    std::filesystem::remove_all(pattern, ec);
}

TEST_F(AuthStoreTest, AnAccountWithASecretNeedsTheCurrentCode)
{
    std::string secret;
    ASSERT_EQ(store.EnableOtp("alice", secret), AuthResult::Ok);
    EXPECT_EQ(secret.size(), 32u); // 160 bits in base32
    EXPECT_TRUE(store.ListAccounts()[0].otpEnabled);
    EXPECT_EQ(store.CheckLogin("alice", "right password", ""), AuthResult::OtpRequired);
    EXPECT_EQ(store.CheckLogin("alice", "wrong password", Code(secret, now)), AuthResult::BadPassword);
    EXPECT_EQ(store.CheckLogin("alice", "right password", WrongCode(secret, now)), AuthResult::BadOtp);
    EXPECT_EQ(store.CheckLogin("alice", "right password", "12345"), AuthResult::BadOtp);
    EXPECT_EQ(store.CheckLogin("alice", "right password", Code(secret, now)), AuthResult::Ok);
    EXPECT_EQ(AuthStore::TotpCode(secret, now), Code(secret, now));
}

TEST_F(AuthStoreTest, ACodeIsAcceptedOneStepEitherWayButNotThreeStepsBack)
{
    std::string secret;
    ASSERT_EQ(store.EnableOtp("alice", secret), AuthResult::Ok);
    EXPECT_EQ(store.CheckLogin("alice", "right password", Code(secret, now - 90)), AuthResult::BadOtp);
    EXPECT_EQ(store.CheckLogin("alice", "right password", Code(secret, now - 60)), AuthResult::BadOtp);
    EXPECT_EQ(store.CheckLogin("alice", "right password", Code(secret, now - 30)), AuthResult::Ok);
    now += 30;
    EXPECT_EQ(store.CheckLogin("alice", "right password", Code(secret, now + 30)), AuthResult::Ok);
    EXPECT_EQ(store.CheckLogin("alice", "right password", Code(secret, now + 90)), AuthResult::BadOtp);
}

TEST_F(AuthStoreTest, AnAcceptedCodeIsNotAcceptedAgainNorAnOlderOne)
{
    std::string secret;
    ASSERT_EQ(store.EnableOtp("alice", secret), AuthResult::Ok);
    const std::string code = Code(secret, now);
    EXPECT_EQ(store.CheckLogin("alice", "right password", code), AuthResult::Ok);
    EXPECT_EQ(store.CheckLogin("alice", "right password", code), AuthResult::BadOtp);
    // The previous step's code is older than the accepted one.
    EXPECT_EQ(store.CheckLogin("alice", "right password", Code(secret, now - 30)), AuthResult::BadOtp);
    now += 30;
    EXPECT_EQ(store.CheckLogin("alice", "right password", code), AuthResult::BadOtp);
    EXPECT_EQ(store.CheckLogin("alice", "right password", Code(secret, now)), AuthResult::Ok);
}

TEST_F(AuthStoreTest, DisablingTheSecretDropsTheCode)
{
    std::string secret;
    ASSERT_EQ(store.EnableOtp("alice", secret), AuthResult::Ok);
    ASSERT_EQ(store.DisableOtp("alice"), AuthResult::Ok);
    EXPECT_EQ(store.CheckLogin("alice", "right password", ""), AuthResult::Ok);
    EXPECT_EQ(store.DisableOtp("nobody"), AuthResult::NoSuchAccount);
}

TEST_F(AuthStoreTest, SessionsAreRandomAndNameTheirAccount)
{
    std::set<std::string> sids;
    for (int i = 0; i < 50; ++i) {
        std::string sid;
        ASSERT_EQ(store.CreateSession("alice", "127.0.0.1", sid), AuthResult::Ok);
        EXPECT_EQ(sid.size(), 64u);
        EXPECT_EQ(sid.find_first_not_of("0123456789abcdef"), std::string::npos);
        sids.insert(sid);
    }
    EXPECT_EQ(sids.size(), 50u);
    std::string account;
    EXPECT_EQ(store.CheckSession(*sids.begin(), account), AuthResult::Ok);
    EXPECT_EQ(account, "alice");
    EXPECT_EQ(store.CheckSession(std::string(64, '0'), account), AuthResult::UnknownSession);
    EXPECT_EQ(store.CheckSession("", account), AuthResult::UnknownSession);
    EXPECT_EQ(store.CheckSession(std::string(100000, 'a'), account), AuthResult::UnknownSession);
}

TEST_F(AuthStoreTest, ASessionExpiresWhenIdleAndAtItsAbsoluteLimit)
{
    std::string sid;
    std::string account;
    ASSERT_EQ(store.CreateSession("alice", "", sid), AuthResult::Ok);
    // Used every 50 s (idle limit 60 s) it lives up to 600 s.
    for (int i = 0; i < 12; ++i) {
        now += 50;
        ASSERT_EQ(store.CheckSession(sid, account), AuthResult::Ok) << i;
    }
    now += 1;
    EXPECT_EQ(store.CheckSession(sid, account), AuthResult::ExpiredSession);
    EXPECT_EQ(store.CheckSession(sid, account), AuthResult::UnknownSession);

    ASSERT_EQ(store.CreateSession("alice", "", sid), AuthResult::Ok);
    now += 60;
    EXPECT_EQ(store.CheckSession(sid, account), AuthResult::Ok);
    now += 61;
    EXPECT_EQ(store.CheckSession(sid, account), AuthResult::ExpiredSession);
}

TEST_F(AuthStoreTest, LogoutPasswordChangeAndDeletionEndSessions)
{
    std::string a, b, c, account;
    ASSERT_EQ(store.CreateSession("alice", "", a), AuthResult::Ok);
    ASSERT_EQ(store.CreateSession("alice", "", b), AuthResult::Ok);
    store.EndSession(a);
    EXPECT_EQ(store.CheckSession(a, account), AuthResult::UnknownSession);
    EXPECT_EQ(store.CheckSession(b, account), AuthResult::Ok);
    ASSERT_EQ(store.SetPassword("alice", "changed"), AuthResult::Ok);
    EXPECT_EQ(store.CheckSession(b, account), AuthResult::UnknownSession);
    ASSERT_EQ(store.CreateSession("alice", "", c), AuthResult::Ok);
    ASSERT_EQ(store.DeleteAccount("alice"), AuthResult::Ok);
    EXPECT_EQ(store.CheckSession(c, account), AuthResult::UnknownSession);
}

TEST(LoginThrottle, LocksAKeyAfterTooManyFailuresWithinTheWindow)
{
    ThrottleOptions options;
    options.maxFailures = 3;
    options.window = 100;
    options.lockout = 50;
    LoginThrottle throttle(options);
    throttle.Fail("k", 1000);
    throttle.Fail("k", 1050);
    EXPECT_FALSE(throttle.Locked("k", 1060));
    // The first failure has left the window: still two.
    throttle.Fail("k", 1110);
    EXPECT_FALSE(throttle.Locked("k", 1110));
    throttle.Fail("k", 1120);
    EXPECT_TRUE(throttle.Locked("k", 1120));
    EXPECT_FALSE(throttle.Locked("other", 1120));
    EXPECT_TRUE(throttle.Locked("k", 1169));
    EXPECT_FALSE(throttle.Locked("k", 1170));
    // A success clears the count, not a lock.
    throttle.Fail("j", 2000);
    throttle.Fail("j", 2000);
    throttle.Clear("j");
    throttle.Fail("j", 2001);
    EXPECT_FALSE(throttle.Locked("j", 2001));
}

TEST(LoginThrottle, EachFurtherLockIsTwiceAsLongAndAQuietWindowForgives)
{
    ThrottleOptions options;
    options.maxFailures = 2;
    options.window = 100;
    options.lockout = 10;
    LoginThrottle throttle(options);
    throttle.Fail("k", 1000);
    throttle.Fail("k", 1000);
    EXPECT_EQ(throttle.LockedUntil("k"), 1010);
    // Once locked, the next failure locks again at once, for twice as long each time.
    throttle.Fail("k", 1010);
    EXPECT_EQ(throttle.LockedUntil("k"), 1030);
    throttle.Fail("k", 1030);
    EXPECT_EQ(throttle.LockedUntil("k"), 1070);
    throttle.Fail("k", 1070);
    EXPECT_EQ(throttle.LockedUntil("k"), 1150);
    // Never longer than a day.
    for (int i = 0; i < 40; ++i)
        throttle.Fail("k", 2000);
    EXPECT_EQ(throttle.LockedUntil("k"), 2000 + MAX_LOGIN_LOCKOUT);
    // A window without failures after the lock ends: back to maxFailures before a first lock.
    const std::int64_t later = 2000 + MAX_LOGIN_LOCKOUT + 100;
    throttle.Fail("k", later);
    EXPECT_FALSE(throttle.Locked("k", later));
    throttle.Fail("k", later);
    EXPECT_EQ(throttle.LockedUntil("k"), later + 10);
    // A success forgets everything.
    throttle.Clear("k");
    throttle.Fail("k", later + 20);
    EXPECT_FALSE(throttle.Locked("k", later + 20));
}

TEST(Authenticator, AnAttackFromOneAddressDoesNotLockTheOwnerOut)
{
    AuthStore store;
    std::string error;
    ASSERT_TRUE(store.Open(":memory:", error)) << error;
    store.SetPasswordCost(PasswordCost::Minimum());
    ASSERT_EQ(store.AddAccount("admin", "right password"), AuthResult::Ok);
    ThrottleOptions options;
    options.maxFailures = 3;
    Authenticator auth(store, options);
    Json::Value data, detail;
    AuthCall guess{"login", "admin", "guess", "", ""};
    for (int i = 0; i < 20; ++i)
        auth.Handle(guess, "198.51.100.9", data, detail);
    AuthCall right{"login", "admin", "right password", "", ""};
    EXPECT_EQ(auth.Handle(right, "198.51.100.9", data, detail), KOVA::WEBAPI_ERR_TOO_MANY_ATTEMPTS);
    EXPECT_EQ(auth.Handle(right, "192.0.2.1", data, detail), 0);
    EXPECT_EQ(data["sid"].asString().size(), 64u);
}

TEST(Authenticator, FailedLoginsAreThrottledAndLoggedWithoutThePassword)
{
    AuthStore store;
    std::string error;
    ASSERT_TRUE(store.Open(":memory:", error)) << error;
    store.SetPasswordCost(PasswordCost::Minimum());
    ASSERT_EQ(store.AddAccount("alice", "right password"), AuthResult::Ok);
    ThrottleOptions options;
    options.maxFailures = 2;
    Authenticator auth(store, options);
    KOVATest::SyslogCapture::Clear();
    AuthCall call{"login", "alice", "wrong password 7", "", ""};
    Json::Value data, detail;
    EXPECT_EQ(auth.Handle(call, "192.0.2.7", data, detail), KOVA::WEBAPI_ERR_BAD_LOGIN);
    call.account = "nobody";
    EXPECT_EQ(auth.Handle(call, "192.0.2.7", data, detail), KOVA::WEBAPI_ERR_BAD_LOGIN);
    // The address is locked now, so even the right password of another account is refused.
    call = AuthCall{"login", "alice", "right password", "", ""};
    EXPECT_EQ(auth.Handle(call, "192.0.2.7", data, detail), KOVA::WEBAPI_ERR_TOO_MANY_ATTEMPTS);
    EXPECT_EQ(auth.Handle(call, "192.0.2.8", data, detail), 0);
    EXPECT_EQ(data["sid"].asString().size(), 64u);

    const auto lines = KOVATest::SyslogCapture::Lines();
    ASSERT_EQ(lines.size(), 4u) << KOVATest::SyslogCapture::Text();
    EXPECT_EQ(lines[0].priority, LOG_WARNING);
    EXPECT_EQ(lines[0].text, "login failed for account 'alice' from 192.0.2.7: wrong password");
    EXPECT_EQ(lines[1].text, "login failed for account 'nobody' from 192.0.2.7: unknown account");
    EXPECT_EQ(lines[2].priority, LOG_WARNING);
    EXPECT_EQ(lines[2].text,
              "login failed for account 'alice' from 192.0.2.7: too many failed attempts, refused");
    EXPECT_EQ(lines[3].priority, LOG_INFO);
    EXPECT_EQ(KOVATest::SyslogCapture::Text().find("password 7"), std::string::npos);
}

TEST(Authenticator, BadInputIsNamedInTheDetail)
{
    AuthStore store;
    std::string error;
    ASSERT_TRUE(store.Open(":memory:", error)) << error;
    Authenticator auth(store, ThrottleOptions());
    Json::Value data, detail;
    EXPECT_EQ(auth.Handle(AuthCall{"login", "", "pw", "", ""}, "", data, detail),
              KOVA::WEBAPI_ERR_BAD_REQUEST);
    EXPECT_NE(detail.asString().find("account"), std::string::npos);
    EXPECT_EQ(auth.Handle(AuthCall{"login", "a", "", "", ""}, "", data, detail),
              KOVA::WEBAPI_ERR_BAD_REQUEST);
    EXPECT_NE(detail.asString().find("passwd"), std::string::npos);
    EXPECT_EQ(auth.Handle(AuthCall{"", "a", "b", "", ""}, "", data, detail), KOVA::WEBAPI_ERR_BAD_REQUEST);
    EXPECT_EQ(auth.Handle(AuthCall{"dance", "a", "b", "", ""}, "", data, detail),
              KOVA::WEBAPI_ERR_NO_SUCH_METHOD);
    EXPECT_EQ(auth.Handle(AuthCall{"logout", "", "", "", ""}, "", data, detail),
              KOVA::WEBAPI_ERR_NOT_LOGGED_IN);
}

TEST(CookieValue, FindsTheNamedCookie)
{
    EXPECT_EQ(CookieValue("sid=abc", "sid"), "abc");
    EXPECT_EQ(CookieValue("a=1; sid=abc; b=2", "sid"), "abc");
    EXPECT_EQ(CookieValue("xsid=1; sidx=2", "sid"), "");
    EXPECT_EQ(CookieValue("", "sid"), "");
}
