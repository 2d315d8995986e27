#include "events/IDSEvent.h"

namespace lathwind {
namespace {

constexpr const wchar_t* kSource = L"IDSEvent";

}  // namespace

void IDSEvent::WriteObject(std::ostream& stream) {
    WriteTString(stream, userName_);
    WriteTString(stream, machineName_);
    WriteTString(stream, agentLabel_);
    WriteTString(stream, agentIp_);
    Write(stream, processId_);
    WriteTString(stream, processName_);
    WriteTString(stream, processFullName_);
    WriteTString(stream, extraText_);
    Write(stream, sessionId_);
    WriteTString(stream, domainName_);
    Write(stream, eventClass_);
    WriteTString(stream, eventText_);
    Write(stream, static_cast<std::uint32_t>(collectTime_));
    WriteTString(stream, policyGuid_);
    WriteTString(stream, GetPolicyName());
    Write(stream, ruleId_);
    WriteTString(stream, GetRuleName());
    Write(stream, sequenceField_);
    Write(stream, priority_);
    WriteTString(stream, fileName_);
    Write(stream, reservedNumber_);
    WriteTString(stream, correlation_);
    Write(stream, static_cast<std::uint32_t>(values_.size()));
    for (const std::wstring& value : values_) {
        WriteTString(stream, value);
    }
}

void IDSEvent::ReadObject(std::istream& stream) {
    ReadTString(stream, userName_);
    ReadTString(stream, machineName_);
    ReadTString(stream, agentLabel_);
    ReadTString(stream, agentIp_);
    Read(stream, processId_);
    ReadTString(stream, processName_);
    ReadTString(stream, processFullName_);
    ReadTString(stream, extraText_);
    Read(stream, sessionId_);
    ReadTString(stream, domainName_);
    Read(stream, eventClass_);
    ReadTString(stream, eventText_);
    std::uint32_t collectTime = 0;
    Read(stream, collectTime);
    collectTime_ = collectTime;
    ReadTString(stream, policyGuid_);
    ReadTString(stream, policyName_.emplace());
    Read(stream, ruleId_);
    ReadTString(stream, ruleName_.emplace());
    Read(stream, sequenceField_);
    Read(stream, priority_);
    ReadTString(stream, fileName_);
    Read(stream, reservedNumber_);
    ReadTString(stream, correlation_);
    std::uint32_t count = 0;
    Read(stream, count);
    values_.clear();
    // One at a time: a forged count comes to the end of the stream, not to the end of the memory.
    for (std::uint32_t i = 0; i < count; ++i) {
        ReadTString(stream, values_.emplace_back());
    }
    if (stream.fail()) {
        throw SerializeException(L"Exception: IDSEvent::ReadObject", __LINE__, kSource);
    }
}

}  // namespace lathwind
