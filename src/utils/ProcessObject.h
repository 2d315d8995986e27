#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "utils/platform/Processes.h"

namespace lathwind {

// Lists and ends processes. Failures are written to the log; any thread may call.
class ProcessBase {
public:
    virtual ~ProcessBase() = default;

    // All processes of the system, at most kMaxProcesses. False when there is no list.
    static constexpr std::size_t kMaxProcesses = 65536;
    static bool list(std::vector<platform::ProcessEntry>& processes);
    static bool killById(std::uint32_t processId);
    // `user` is an account name, compared without regard to case. Gives how many were ended. The
    // calling process is not among them.
    static std::size_t killByUser(std::wstring_view user);
};

// Facts about one process, read when the object is made.
class ProcessObject : public ProcessBase {
public:
    virtual std::wstring name() const = 0;   // file name of the program, empty if unknown
    virtual std::wstring owner() const = 0;  // account name, empty if unknown
    virtual std::uint32_t id() const = 0;
    virtual bool exists() const = 0;  // the facts could be read
    virtual std::wstring path() const = 0;
    virtual std::wstring ownerDomain() const = 0;
    virtual std::uint32_t parentId() const = 0;
    virtual std::uint32_t sessionId() const = 0;
    virtual std::wstring priorityClass() const = 0;  // priorityClassText
};

std::unique_ptr<ProcessObject> makeProcessObject(std::uint32_t processId);

// "NORMAL_PRIORITY_CLASS" and so on; "unkown" for a class without a name.
std::wstring_view priorityClassText(std::uint32_t priorityClass) noexcept;

}  // namespace lathwind
