// The contents that a watched file keeps for its diff.
#include <string_view>
#include <utility>

#include "filewatch/FileAttributes.h"
#include "filewatch/WatchedFile.h"
#include "filewatch/windows/WinPathMapping.h"
#include "plugins/DiffModule.h"
#include "plugins/FileDiffState.h"
#include "utils/AgentInfo.h"
#include "utils/ByteArray.h"
#include "utils/FileIO.h"
#include "utils/Logging.h"
#include "utils/Text.h"

namespace lathwind {
namespace {

constexpr int kFileTooBigMessage = 413;
// No character: where it turns up in a text, something could not be shown.
constexpr std::wstring_view kUnshown = L"\xFFDC";

// Null also for a file that has reached the limit since its snapshot was taken: whoever makes it
// grow does not make the agent read it.
std::unique_ptr<ByteArray> readBelow(const std::wstring& path, std::uint32_t limitBytes) {
    FileIO file;
    if (!file.Open(path, L"rb")) {
        return nullptr;
    }
    auto contents = file.ReadBytes(limitBytes);
    const bool isWhole =
        contents != nullptr && static_cast<std::uint32_t>(contents->GetLength()) < limitBytes;
    return isWhole ? std::move(contents) : nullptr;
}

}  // namespace

FileDiffState& WatchedFile::DiffState() {
    if (diffState == nullptr) {
        diffState = std::make_unique<FileDiffState>();
    }
    return *diffState;
}

bool WatchedFile::PrepareDiff() {
    DiffModule* const module = diffModule();
    if (module == nullptr || GetName().empty() || !attributes->IsRegularFile() ||
        !module->lookup(GetName(), DiffState())) {
        return true;
    }
    const ScopedLock guard(diffLock());
    const std::wstring path = MapToRealPath(GetName());
    if (!FileIO::Exists(path) || diffState->diffType.empty() || diffState->isBinary) {
        return true;
    }
    module->isText(path, *diffState);
    attributes.edit().RefreshAccessTime();  // a look of our own, also at a file that has no diff
    if (diffState->isBinary) {
        debugLog(ModuleId::FilewatchCollector, L"Disabling DIFF for binary file %ls", GetName());
        return true;
    }
    if (IsBelowDiffLimit()) {
        TakeContents(path);
    }
    return true;
}

void WatchedFile::MakeDiff(std::wstring& detailText) {
    const ScopedLock guard(diffLock());
    if (!IsBelowDiffLimit()) {
        diffState->reset(false);
        return;
    }
    const auto previous = TakeContents(MapToRealPath(GetName()));
    if (previous == nullptr) {
        return;
    }
    const std::wstring difference = diffState->diff(*previous, *diffState->contents);
    if (!difference.empty()) {
        detailText += difference;
        replaceAll(detailText, kUnshown, L"...");
    }
}

// Holds the file as it is now. Gives what was held before: null also where nothing could be read.
std::unique_ptr<ByteArray> WatchedFile::TakeContents(const std::wstring& path) {
    auto contents = readBelow(path, AgentInfoRef()->diffFileSizeLimitKb() * 1024);
    if (contents == nullptr) {
        return nullptr;
    }
    attributes.edit().RefreshAccessTime();
    diffState->tooBigReported = false;
    return std::exchange(diffState->contents, std::move(contents));
}

// Warns of a file that is too big, once until it has become small enough again.
bool WatchedFile::IsBelowDiffLimit() {
    const std::uint64_t limitKb = AgentInfoRef()->diffFileSizeLimitKb();
    const std::uint64_t sizeKb = attributes->GetSize() / 1024;
    if (sizeKb < limitKb) {
        return true;
    }
    if (!std::exchange(diffState->tooBigReported, true)) {
        logCatalogued(Severity::Warning, ModuleId::FilewatchCollector, kFileTooBigMessage, sizeKb,
                      limitKb, GetName());
    }
    return false;
}

}  // namespace lathwind
