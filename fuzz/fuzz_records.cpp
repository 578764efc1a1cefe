// The records' loadFromJson: every record type reads the fuzzer's JSON; a record read without
// error must write its JSON form as valid JSON, and read that form back.
#include "FuzzSupport.h"

#include <iscsi/ISCSILUNInfo.h>
#include <iscsi/ISCSILogInfo.h>
#include <iscsi/ISCSINodeInfo.h>
#include <iscsi/ISCSISnapshotInfo.h>
#include <iscsi/ISCSITargetInfo.h>
#include <iscsi/ISCSITaskInfo.h>

#include <cstddef>
#include <cstdint>

namespace {

template <typename Record> void RoundTrip(const Json::Value& in)
{
    Record record;
    if (record.loadFromJson(in) != 0)
        return;
    Json::Value out;
    if (record.toJsonFormat(out) != 0)
        return;
    KOVAFuzz::CheckWritable(out);
    Record again;
    if (again.loadFromJson(out) != 0)
        KOVAFuzz::Broken("a record's own JSON form does not read back", KOVA::toString(out));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const Json::Value in = KOVAFuzz::ValueOf(data + 1, size - 1);
    switch (data[0] % 8) {
    case 0:
        RoundTrip<ISCSI::ISCSILUNInfo>(in);
        break;
    case 1:
        RoundTrip<ISCSI::ISCSISnapshotInfo>(in);
        break;
    case 2:
        RoundTrip<ISCSI::ISCSITargetInfo>(in);
        break;
    case 3:
        RoundTrip<ISCSI::ISCSIMappingInfo>(in);
        break;
    case 4:
        RoundTrip<ISCSI::ISCSITargetSessionInfo>(in);
        break;
    case 5:
        RoundTrip<ISCSI::ISCSINodeInfo>(in);
        break;
    case 6:
        RoundTrip<ISCSI::ISCSILogInfo>(in);
        break;
    default:
        RoundTrip<ISCSI::ISCSITaskInfo>(in);
        break;
    }
    return 0;
}
