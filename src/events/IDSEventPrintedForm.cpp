#include "events/IDSEvent.h"
#include "utils/ByteArray.h"
#include "utils/DateTime.h"
#include "utils/FileIO.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

void addLine(std::wstring& form, std::wstring_view label, std::wstring_view fact) {
    form.append(label).append(fact).append(1, L'\n');
}

}  // namespace

std::wstring IDSEvent::GetPrintedForm() const {
    std::wstring form;
    addLine(form, L"-------------------------------------------", {});
    addLine(form, L"COLLECT TIME   : ", DateTime::FormatTimeStamp(collectTime_, 0));
    addLine(form, L"SEVERITY       : ", GetSeverityWord());
    addLine(form, L"POLICY GUID    : ", policyGuid_);
    addLine(form, L"POLICY         : ", GetPolicyName());
    addLine(form, L"RULE           : ", GetRuleName());
    addLine(form, L"CORRELATION    : ", correlation_);
    addLine(form, L"EVENT TYPE     : ", std::to_wstring(eventClass_));
    addLine(form, L"USER NAME      : ", userName_);
    addLine(form, L"SYSTEM NAME    : ", machineName_);
    addLine(form, L"SYSTEM SOFTID  : ", agentLabel_);
    addLine(form, L"PROCESS ID     : ", std::to_wstring(processId_));
    addLine(form, L"PROCESS NAME   : ", processFullName_);
    addLine(form, L"SESSION ID     : ", std::to_wstring(sessionId_));
    addLine(form, L"DOMAIN NAME    : ", domainName_);
    addLine(form, L"AGENT IP ADDR  : ", agentIp_);
    addLine(form, L"EVENT TEXT     : ", eventText_);
    addLine(form, {}, {});
    return form;
}

bool IDSEvent::WriteToFile(const std::wstring& path) {
    const std::string bytes = narrow(GetPrintedForm());
    const ByteArray contents(bytes.data(), static_cast<std::int32_t>(bytes.size()));
    if (!contents.IsValid() || !FileIO::WriteFile(contents, path)) {
        return false;
    }
    outputPath_ = path;
    return true;
}

}  // namespace lathwind
