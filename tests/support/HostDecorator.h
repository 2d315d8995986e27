#pragma once

#include <string>

#include "utils/platform/PlatformFactory.h"

namespace lathwind::testing {

// Passes every question on to the host it decorates; a test overrides the few that it answers.
class HostDecorator : public platform::Host {
public:
    explicit HostDecorator(platform::Host& host) : host_(host) {}

    std::wstring widen(std::string_view bytes) override { return host_.widen(bytes); }
    std::string narrow(std::wstring_view text) override { return host_.narrow(text); }
    std::wstring errorText(platform::ErrorCode code) override { return host_.errorText(code); }
    std::wstring errnoText(int number) override { return host_.errnoText(number); }
    void setLastError(platform::ErrorCode code) override { host_.setLastError(code); }
    platform::ErrorCode lastError() override { return host_.lastError(); }
    platform::ErrorCode osVersion(bool extended, platform::OsVersion& version) override {
        return host_.osVersion(extended, version);
    }
    bool isWow64Process() override { return host_.isWow64Process(); }
    std::wstring windowsDirectory() override { return host_.windowsDirectory(); }
    platform::ErrorCode environment(const std::wstring& name, std::wstring& value) override {
        return host_.environment(name, value);
    }
    platform::ErrorCode hostName(std::wstring& name) override { return host_.hostName(name); }
    platform::ErrorCode ipAddress(std::wstring& dotted) override { return host_.ipAddress(dotted); }
    platform::ServiceState serviceState(const std::wstring& name) override {
        return host_.serviceState(name);
    }
    platform::ErrorCode disableFsRedirection(void*& cookie) override {
        return host_.disableFsRedirection(cookie);
    }
    platform::ErrorCode revertFsRedirection(void* cookie) override {
        return host_.revertFsRedirection(cookie);
    }
    std::int64_t currentTimeMs() override { return host_.currentTimeMs(); }
    std::int64_t bootTime() override { return host_.bootTime(); }
    std::int64_t steadyTimeMs() override { return host_.steadyTimeMs(); }
    void sleepMs(std::uint32_t milliseconds) override { host_.sleepMs(milliseconds); }
    platform::TimeZoneFacts timeZone() override { return host_.timeZone(); }
    bool isDaylightAt(std::int64_t utcSeconds, std::int32_t& biasMinutes) override {
        return host_.isDaylightAt(utcSeconds, biasMinutes);
    }
    bool writeOutput(std::wstring_view text) override { return host_.writeOutput(text); }
    bool writeError(std::wstring_view text) override { return host_.writeError(text); }
    bool flushOutput() override { return host_.flushOutput(); }
    bool isErrorTerminal() override { return host_.isErrorTerminal(); }

private:
    platform::Host& host_;
};

}  // namespace lathwind::testing
