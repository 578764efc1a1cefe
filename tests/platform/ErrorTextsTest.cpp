// The texts of the error codes, and their list in docs/error-codes.md.
#include <iscsi/ISCSIErrors.h>
#include <kova/Cred.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

const char kUnknown[] = "Unknown error";

// Every code that the module or the storage library raises.
const std::set<int> kRaisedCodes = {
    18990001,
    18990004,
    18990025,
    18990200,
    18990201,
    18990203,
    18990204,
    18990205,
    18990207,
    18990208,
    18990211,
    18990213,
    18990335,
    18990336,
    18990402,
    18990403,
    18990404,
    18990500,
    18990501,
    18990502,
    18990503,
    18990505,
    18990506,
    18990507,
    18990508,
    18990510,
    18990513,
    18990514,
    18990515,
    18990516,
    18990517,
    18990520,
    18990521,
    18990522,
    18990523,
    18990524,
    18990527,
    18990528,
    18990529,
    18990596,
    18990598,
    18990602,
    18990607,
    18990610,
    18990611,
    18990612,
    18990614,
    18990615,
    18990616,
    18990618,
    18990619,
    18990620,
    18990621,
    18990622,
    18990631,
    18990700,
    18990701,
    18990702,
    18990703,
    18990704,
    18990705,
    18990706,
    18990707,
    18990708,
    18990710,
    18990711,
    18990736,
    18990737,
    18990738,
    18990739,
    18990740,
    18990741,
    18990743,
    18990811,
    18990819,
    18990820,
    18990821,
    18990822,
    18990823,
    18990824,
    18990825,
    18990830,
    18990831,
    18990836,
    18990840,
    18990844,
    18990845,
    18990846,
    18990847,
    18990848,
    18990849,
    18990852,
    18990853,
    18990854,
    18990902,
    18990903,
    18990904,
    18990905,
    18990906,
    18990908,
    18991000,
    18991001,
    18991100,
    18991101,
    18991102,
    18991103,
    18991104,
    18991105,
    18991106,
    18991107,
    18991110,
    18991111,
    18991119,
    18991122,
    18991125,
    18991126,
    18991127,
    18991128,
    18991129,
    18991130,
    18991131,
    18991134,
    18991135,
    18991136,
    18991137,
    18991139,
    18991140,
    18991141,
    18991205,
    ISCSI::ISCSI_ERR_NOT_AVAILABLE,
    ISCSI::ISCSI_ERR_DATABASE,
    ISCSI::ISCSI_ERR_LUN_NAME_EXISTS,
    ISCSI::ISCSI_ERR_LUN_SHRINK,
    ISCSI::ISCSI_ERR_LUN_FILE,
    ISCSI::ISCSI_ERR_NO_FREE_LUN_ID,
    ISCSI::ISCSI_ERR_NOT_STARTED,
    ISCSI::ISCSI_ERR_SNAPSHOT_NAME_EXISTS,
    ISCSI::ISCSI_ERR_SNAPSHOT_LOCKED,
    ISCSI::ISCSI_ERR_SNAPSHOT_FILE,
    ISCSI::ISCSI_ERR_SNAPSHOT_NAME_AMBIGUOUS,
    ISCSI::ISCSI_ERR_SNAPSHOT_OF_OTHER_LUN,
    // LUN sources, paths and volumes.
    ISCSI::ISCSI_ERR_PATH_NOT_ABSOLUTE,
    ISCSI::ISCSI_ERR_PATH_DOT_DOT,
    ISCSI::ISCSI_ERR_PATH_OUTSIDE_VOLUMES,
    ISCSI::ISCSI_ERR_PATH_LEAVES_VOLUME,
    ISCSI::ISCSI_ERR_LUN_SOURCE,
    ISCSI::ISCSI_ERR_LUN_CHANGE_NOT_OFFERED,
    ISCSI::ISCSI_ERR_LOOP_DEVICE,
    ISCSI::ISCSI_ERR_NOT_LOOP_MOUNTED,
    ISCSI::ISCSI_ERR_DEFRAG,
    ISCSI::ISCSI_ERR_NOT_REMOTE_DISK,

    // Targets and the target engine.
    ISCSI::ISCSI_ERR_TARGET_IQN_EXISTS,
    ISCSI::ISCSI_ERR_TARGET_NAME_EXISTS,
    ISCSI::ISCSI_ERR_TARGET_ENGINE,
    ISCSI::ISCSI_ERR_CHAP_USER_IN_USE,
    ISCSI::ISCSI_ERR_ACL_MIXED_ACCESS,
    ISCSI::ISCSI_ERR_PORTAL_INVALID,
    ISCSI::ISCSI_ERR_ACCESS_RULES_CONFLICT,
    ISCSI::ISCSI_ERR_NO_FREE_LUN_NUMBER,
    ISCSI::ISCSI_ERR_LUN_NOT_SERVABLE,

    // Jobs, clones, export and import.
    ISCSI::ISCSI_ERR_JOB_CANCELLED,
    ISCSI::ISCSI_ERR_JOB_INTERRUPTED,
    ISCSI::ISCSI_ERR_NO_RUNNING_JOB,
    ISCSI::ISCSI_ERR_JOB_BUSY,
    ISCSI::ISCSI_ERR_COPY_FAILED,
    ISCSI::ISCSI_ERR_NO_SPACE,
    ISCSI::ISCSI_ERR_LUN_NOT_READY,
    ISCSI::ISCSI_ERR_NOT_CLONEABLE,
    ISCSI::ISCSI_ERR_EXPORT_DIR,
    ISCSI::ISCSI_ERR_NOT_AN_EXPORT,
    ISCSI::ISCSI_ERR_EXPORT_VERSION,
    ISCSI::ISCSI_ERR_EXPORT_CHECKSUM,
    ISCSI::ISCSI_ERR_EXPORT_TOO_LARGE,
    ISCSI::ISCSI_ERR_PATH_NOT_PLAIN_FILE,
    ISCSI::ISCSI_ERR_LUN_IN_EXPORT,
    ISCSI::ISCSI_ERR_LUN_IN_IMPORT,
    ISCSI::ISCSI_ERR_LUN_IN_CLONE,

    // Service log, local node settings and virtual LUNs.
    ISCSI::ISCSI_ERR_LOG_EXPORT_FORMAT,
    ISCSI::ISCSI_ERR_LOG_EXPORT_OUTPUT,
    ISCSI::ISCSI_ERR_ISNS_ADDRESS,
    ISCSI::ISCSI_ERR_IO_QUEUE_LENGTH,
    ISCSI::ISCSI_ERR_EP_UNMAP_BUF_MODE,
    ISCSI::ISCSI_ERR_NOT_A_VOLUME,

    // LUN backup.
    ISCSI::ISCSI_ERR_LUNBKP_TARGET_ADDRESS,
    ISCSI::ISCSI_ERR_LUNBKP_TARGET_UNREACHABLE,
    ISCSI::ISCSI_ERR_LUNBKP_TARGET_LOGIN,
    ISCSI::ISCSI_ERR_LUNBKP_NO_DEVICE,
    ISCSI::ISCSI_ERR_LUNBKP_DEVICE_TOO_SMALL,
    ISCSI::ISCSI_ERR_LUNBKP_LUN_IN_USE,

    // The credential library and the node channel.
    KOVA_CRED_ERR_INVALID,
    KOVA_CRED_ERR_CONNECT,
    KOVA_CRED_ERR_TIMEOUT,
    KOVA_CRED_ERR_TLS,
    KOVA_CRED_ERR_CERT_CHANGED,
    KOVA_CRED_ERR_REPLY,
    KOVA_CRED_ERR_LOGIN,
    KOVA_CRED_ERR_OTP,
    KOVA_CRED_ERR_SESSION,
    KOVA_CRED_ERR_TRANSFER,
    KOVA_NODE_ERR_NO_SESSION,
    // Conversion of LUN files into subvolumes.
    ISCSI::ISCSI_ERR_SUBVOL,
    ISCSI::ISCSI_ERR_SUBVOL_LUN_IN_USE,

    // Remote nodes and node sessions.
    ISCSI::ISCSI_ERR_NODE_NOT_FOUND,
    ISCSI::ISCSI_ERR_NODE_INVALID,
    ISCSI::ISCSI_ERR_NODE_IS_LOCAL,
    ISCSI::ISCSI_ERR_NODE_AMBIGUOUS,
    ISCSI::ISCSI_ERR_NODE_EXISTS,
    ISCSI::ISCSI_ERR_NODE_ROD_KEY,
    ISCSI::ISCSI_ERR_NODE_NO_LOCAL_ADDRESS,
    ISCSI::ISCSI_ERR_NODE_SESSION_UNKNOWN,
    ISCSI::ISCSI_ERR_NODE_NO_CHANNEL,
};

std::string DocPath()
{
    // The source tree's root comes from the build (a compiler cache may make __FILE__ relative).
    return (std::filesystem::path(KOVA_SOURCE_DIR) / "docs" / "error-codes.md").string();
}

std::string ReadDoc()
{
    std::ifstream in(DocPath());
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string Trim(const std::string& text)
{
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string::npos) {
        return "";
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

struct DocRow {
    int code;
    std::string text;
    std::string raisedBy;
};

// The table rows of the doc: "| code | text | raised by |".
std::vector<DocRow> DocRows(const std::string& doc)
{
    std::vector<DocRow> rows;
    std::istringstream lines(doc);
    std::string line;
    const std::regex row(R"(^\|\s*(1899\d{4})\s*\|([^|]*)\|(.*)\|\s*$)");
    while (std::getline(lines, line)) {
        std::smatch match;
        if (std::regex_match(line, match, row)) {
            rows.push_back({std::stoi(match[1].str()), Trim(match[2].str()), Trim(match[3].str())});
        }
    }
    return rows;
}

} // namespace

TEST(ErrorTexts, ZeroIsSuccess)
{
    EXPECT_STREQ("Success", KOVAiSCSIStrError(0));
}

TEST(ErrorTexts, EveryRaisedCodeHasItsOwnText)
{
    std::map<std::string, int> codeOfText;
    for (int code : kRaisedCodes) {
        const char* text = KOVAiSCSIStrError(code);
        ASSERT_NE(nullptr, text) << code;
        EXPECT_GT(std::strlen(text), 10u) << code;
        EXPECT_STRNE(kUnknown, text) << code;
        EXPECT_STRNE("Success", text) << code;
        const auto inserted = codeOfText.emplace(text, code);
        EXPECT_TRUE(inserted.second) << code << " has the same text as " << inserted.first->second;
    }
}

TEST(ErrorTexts, UnknownCodesAnswerUnknownError)
{
    for (int code : {1, -1, 100, 18990000, 18990002, 18990504, 18990999, 18991999, 18999000, 18999002,
                     18999999, 19000000, -18990505, INT_MAX, INT_MIN}) {
        const char* text = KOVAiSCSIStrError(code);
        ASSERT_NE(nullptr, text) << code;
        EXPECT_STREQ(kUnknown, text) << code;
    }
}

TEST(ErrorTexts, ExamplesSayWhatWentWrong)
{
    EXPECT_STREQ("Invalid LUN uuid or no such LUN", KOVAiSCSIStrError(18990505));
    EXPECT_STREQ("Invalid target id or no such target", KOVAiSCSIStrError(18990710));
    EXPECT_STREQ("Invalid VLUN uuid or no such VLUN", KOVAiSCSIStrError(18991001));
    EXPECT_STREQ("Invalid node uuid or no such node", KOVAiSCSIStrError(18991100));
    EXPECT_STREQ("Invalid replication task uuid or no such task", KOVAiSCSIStrError(18990831));
    EXPECT_STREQ("Operation not available in this build of the storage library",
                 KOVAiSCSIStrError(ISCSI::ISCSI_ERR_NOT_AVAILABLE));
    EXPECT_STREQ("Text too long for its field (network portal address or interface name)",
                 KOVAiSCSIStrError(18990025));
}

TEST(ErrorTexts, IdentifierCodesCoverUnknownThings)
{
    // These codes also answer a well-formed identifier that names nothing.
    for (int code : {18990505, 18990508, 18990520, 18990710, 18990819, 18990820, 18990821, 18990822, 18990823,
                     18990831, 18991001, 18991100}) {
        EXPECT_NE(nullptr, std::strstr(KOVAiSCSIStrError(code), "no such")) << code;
    }
}

TEST(ErrorTexts, DocListsEveryRaisedCode)
{
    const std::string doc = ReadDoc();
    ASSERT_FALSE(doc.empty()) << "cannot read " << DocPath();

    std::set<int> inDoc;
    const std::regex codePattern(R"(\b1899\d{4}\b)");
    for (auto it = std::sregex_iterator(doc.begin(), doc.end(), codePattern); it != std::sregex_iterator();
         ++it) {
        inDoc.insert(std::stoi(it->str()));
    }
    EXPECT_EQ(kRaisedCodes, inDoc);
    for (int code : inDoc) {
        EXPECT_STRNE(kUnknown, KOVAiSCSIStrError(code)) << code;
    }
}

TEST(ErrorTexts, DocTablesShowTheExactTexts)
{
    const std::vector<DocRow> rows = DocRows(ReadDoc());
    ASSERT_FALSE(rows.empty());
    std::set<int> inTables;
    for (const DocRow& row : rows) {
        inTables.insert(row.code);
        EXPECT_EQ(KOVAiSCSIStrError(row.code), row.text) << row.code;
        EXPECT_FALSE(row.raisedBy.empty()) << row.code;
    }
    EXPECT_EQ(kRaisedCodes, inTables);
}
