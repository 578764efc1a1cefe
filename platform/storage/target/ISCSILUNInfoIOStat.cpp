// I/O statistics of LUNs, from tgtd's per-session counters.
//
// tgtd counts per session and forgets a session's counters at logout, so the engine folds
// what it reads into totals per logical unit (TargetEngineIoCounters); a LUN's figures are the
// sums over its logical units on every target. Rates are measured between two calls.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILUNInfo.h>

#include "context/LibraryContext.h"
#include "lun/LUNStore.h"
#include "target/TargetEngine.h"
#include "target/TargetStore.h"

#include <chrono>
#include <map>
#include <set>

using ISCSI::Storage::LibraryContext;

namespace ISCSI {
namespace {

struct Sample {
    std::chrono::steady_clock::time_point at;
    Storage::LuIoCounters totals;
};

// The previous sample of each LUN, for the rates.
std::map<std::string, Sample>& Samples()
{
    static std::map<std::string, Sample> samples;
    return samples;
}

Json::UInt64 Rate(std::uint64_t now, std::uint64_t before, double seconds)
{
    if (seconds <= 0 || now < before)
        return 0;
    return static_cast<Json::UInt64>(static_cast<double>(now - before) / seconds);
}

bool Selected(const Storage::LUNRow& row, const Json::Value& filter, const std::set<std::string>& uuids)
{
    if (!uuids.empty() && uuids.count(row.uuid) == 0)
        return false;
    if (!filter.isObject() || !filter.isMember("attr"))
        return true;
    const std::string attr = filter["attr"].asString();
    const std::string value =
        filter["value"].isString() ? filter["value"].asString() : filter["value"].toStyledString();
    if (attr == "uuid")
        return row.uuid == value;
    if (attr == "name")
        return row.name == value;
    if (attr == "location")
        return row.location == value;
    if (attr == "type")
        return filter["value"].isIntegral() && filter["value"].asInt() == row.type;
    return false;
}

} // namespace

// iostats: an array of one object per LUN, in LUN id order, or (object true) an object keyed
// by LUN uuid. Each holds "uuid", "name", "location", "is_served", the totals "read_bytes",
// "write_bytes", "read_ops", "write_ops", "errors", and the rates since the previous call
// "read_bytes_per_sec", "write_bytes_per_sec", "read_ops_per_sec", "write_ops_per_sec" (0 at
// the first call). filter {"attr": "uuid" | "name" | "location" | "type", "value": ...} and
// uuids (an array of LUN uuids) narrow the LUNs; null means no narrowing.
int ISCSILUNInfo::ListIOStat(Json::Value& iostats, bool object, const Json::Value& filter,
                             const Json::Value& uuids)
{
    std::set<std::string> wanted;
    if (uuids.isArray())
        for (const Json::Value& uuid : uuids)
            wanted.insert(uuid.asString());
    return LibraryContext::With([&](LibraryContext& ctx) -> int {
        std::vector<Storage::LUNRow> rows;
        if (Storage::ListLUNRows(ctx.db(), rows) != 0)
            return ISCSI_ERR_DATABASE;
        std::vector<Storage::TargetLunRow> lus;
        if (Storage::ListTargetLuns(ctx.db(), 0, lus) != 0)
            return ISCSI_ERR_DATABASE;
        std::map<std::pair<int, int>, Storage::LuIoCounters> counters;
        const bool running = Storage::TargetEngineIoCounters(counters);
        const auto now = std::chrono::steady_clock::now();

        Json::Value out(object ? Json::objectValue : Json::arrayValue);
        for (const Storage::LUNRow& row : rows) {
            if (!Selected(row, filter, wanted))
                continue;
            Storage::LuIoCounters sum;
            bool served = false;
            for (const auto& lu : lus) {
                if (lu.lun_uuid != row.uuid || !lu.snapshot_uuid.empty())
                    continue;
                served = served || (running && Storage::TargetEngineServes(lu.tid));
                const auto it = counters.find({lu.tid, lu.lun_number});
                if (it == counters.end())
                    continue;
                sum.read_bytes += it->second.read_bytes;
                sum.read_ops += it->second.read_ops;
                sum.write_bytes += it->second.write_bytes;
                sum.write_ops += it->second.write_ops;
                sum.errors += it->second.errors;
            }
            Json::Value entry(Json::objectValue);
            entry["uuid"] = row.uuid;
            entry["name"] = row.name;
            entry["location"] = row.location;
            entry["is_served"] = served;
            entry["read_bytes"] = static_cast<Json::UInt64>(sum.read_bytes);
            entry["write_bytes"] = static_cast<Json::UInt64>(sum.write_bytes);
            entry["read_ops"] = static_cast<Json::UInt64>(sum.read_ops);
            entry["write_ops"] = static_cast<Json::UInt64>(sum.write_ops);
            entry["errors"] = static_cast<Json::UInt64>(sum.errors);
            const auto previous = Samples().find(row.uuid);
            double seconds = 0;
            Storage::LuIoCounters before;
            if (previous != Samples().end()) {
                seconds = std::chrono::duration<double>(now - previous->second.at).count();
                before = previous->second.totals;
            }
            entry["read_bytes_per_sec"] = Rate(sum.read_bytes, before.read_bytes, seconds);
            entry["write_bytes_per_sec"] = Rate(sum.write_bytes, before.write_bytes, seconds);
            entry["read_ops_per_sec"] = Rate(sum.read_ops, before.read_ops, seconds);
            entry["write_ops_per_sec"] = Rate(sum.write_ops, before.write_ops, seconds);
            Samples()[row.uuid] = Sample{now, sum};
            if (object)
                out[row.uuid] = entry;
            else
                out.append(entry);
        }
        iostats = out;
        return 0;
    });
}

} // namespace ISCSI
