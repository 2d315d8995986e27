#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "utils/RotatingLog.h"

namespace lathwind {

// What a marker line says about the host that wrote it.
struct HostIdentity {
    std::wstring hostName;
    std::wstring ipAddress;
    std::wstring logonDomain;
    std::wstring osName;   // "windows", "solaris", "aix", "linux", "hpux" or "tru64"
    std::wstring agentId;  // may be empty
};

// Puts something in the place of the settings (utils/AgentInfo.h), which marker lines are made
// from; null puts the settings back.
using HostIdentityProvider = HostIdentity (*)();
void setHostIdentityProvider(HostIdentityProvider provider) noexcept;

// A CSV event file. Each file starts with a line that names the file before it and ends with one
// that names the next, and a thread rolls the file over on its date schedule even when no event
// arrives.
//
// Threads: open, write and rollOver under lock(). The set operations may wait for the thread to
// end, which itself takes the lock: never call them with the lock held. A class derived from
// this one calls stopThread() in its own destructor.
class RotatingLogCSV : public RotatingLog, public Runnable {
public:
    // Closed, with an empty path.
    RotatingLogCSV();
    ~RotatingLogCSV() override;

    bool rollOver() override;
    void writeHeader(std::int64_t time, const std::wstring& other) override;
    void writeFooter(std::int64_t time, const std::wstring& other) override;
    void reschedule(bool stop) override;

    bool forceRollover() { return rollOver(); }

    // The thread's body, and one turn of it: false when the thread has to leave.
    void run() override;
    bool step();
    // How long the next turn waits, in milliseconds.
    std::int32_t waitTime();

protected:
    void stopThread();

    // After a rollover, puts an underscore in front of the old file's name. Nothing turns it on
    // but a derived class.
    bool postRename_ = false;

private:
    static std::wstring markedName(const std::wstring& path);
    void startThread() REQUIRES(lock());
    void writeMarker(std::wstring_view marker, std::int64_t time, const std::wstring& other);

    std::unique_ptr<Event> stopEvent_ GUARDED_BY(lock());
    std::unique_ptr<Thread> thread_ GUARDED_BY(lock());
    std::atomic<bool> stopping_{false};
    std::atomic<bool> left_{false};  // the thread has ended by itself
};

}  // namespace lathwind
