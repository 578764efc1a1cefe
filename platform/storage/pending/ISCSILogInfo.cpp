// The service's log is not offered by this build of the storage library yet: every log
// operation answers ISCSI_ERR_NOT_AVAILABLE.
#include <iscsi/ISCSIErrors.h>
#include <iscsi/ISCSILogInfo.h>

namespace ISCSI {

int ISCSILogInfo::ListLog(int, int, int, int, int, const std::vector<std::string>&, const std::string&,
                          std::vector<ISCSI::ISCSILogInfo>&, std::map<std::string, unsigned long long>&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILogInfo::ExportLog(const std::string&, int, int, const std::vector<std::string>&, const std::string&)
{
    return ISCSI_ERR_NOT_AVAILABLE;
}
int ISCSILogInfo::ClearLog()
{
    return ISCSI_ERR_NOT_AVAILABLE;
}

} // namespace ISCSI
