#include "support/ScopedCapture.h"

#include "support/HostDecorator.h"
#include "support/ScopedOverride.h"
#include "utils/Text.h"

namespace lathwind::testing {
namespace {

class CapturingHost : public HostDecorator {
public:
    CapturingHost(platform::Host& host, std::int64_t terminalStep)
        : HostDecorator(host), terminalStep_(terminalStep) {}

    bool writeOutput(std::wstring_view text) override {
        output += text;
        return true;
    }
    bool writeError(std::wstring_view text) override {
        error += text;
        return true;
    }
    bool flushOutput() override { return true; }
    bool isErrorTerminal() override { return terminalStep_ != 0; }
    std::int64_t steadyTimeMs() override { return terminalStep_ * ++looks_; }

    std::wstring output;
    std::wstring error;

private:
    std::int64_t terminalStep_;
    std::int64_t looks_ = 0;
};

CapturingHost* capturing = nullptr;

}  // namespace

struct ScopedCapture::State {
    explicit State(std::int64_t terminalStep)
        : host(platform::host(), terminalStep),
          override(
              platformFactory.host, +[]() -> platform::Host& { return *capturing; }) {
        capturing = &host;
    }

    CapturingHost host;
    ScopedOverride<platform::Host& (*)()> override;
};

ScopedCapture::ScopedCapture(std::int64_t terminalStep)
    : state_(std::make_unique<State>(terminalStep)) {}

ScopedCapture::~ScopedCapture() = default;

std::string ScopedCapture::output() const {
    return utf8FromUtf16(state_->host.output);
}

std::string ScopedCapture::error() const {
    return utf8FromUtf16(state_->host.error);
}

}  // namespace lathwind::testing
