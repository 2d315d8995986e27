#include "plugins/FileDiffState.h"

#include <algorithm>
#include <new>
#include <stdexcept>
#include <utility>

#include "plugins/DiffFilter.h"
#include "utils/Logging.h"

namespace lathwind {
namespace {

// Leaves the last line that holds something, with its line feed if it has one.
void dropEmptyLastLines(std::wstring& text) {
    const std::size_t last = text.find_last_not_of(L'\n');
    text.resize(last == std::wstring::npos ? 0 : std::min(text.size(), last + 2));
}

}  // namespace

FileDiffState::FileDiffState(const FileDiffState& other)
    : diffType(other.diffType),
      contents(other.contents ? std::make_unique<ByteArray>(*other.contents) : nullptr),
      tooBigReported(other.tooBigReported),
      isBinary(other.isBinary),
      filter_(other.filter_) {}

FileDiffState::~FileDiffState() {
    reset(false);
}

void FileDiffState::setFilter(const std::wstring& type, const DiffFilter* filter) {
    if (filter != filter_ || type != diffType) {
        // A type that came with a record names the contents beside it, before any filter is known.
        reset(filter_ == nullptr && type == diffType);
    }
    diffType = type;
    filter_ = filter;
}

std::wstring FileDiffState::diff(const ByteArray& previous, const ByteArray& current) {
    if (filter_ == nullptr) {
        return {};
    }
    try {
        std::wstring text = filter_->run(filterState_, previous, current);
        dropEmptyLastLines(text);
        return text;
    } catch (const std::bad_alloc&) {
        debugLog(ModuleId::FilewatchCollector, L"Out of memory for a diff of type %ls", diffType);
    } catch (const std::length_error&) {
        debugLog(ModuleId::FilewatchCollector, L"A diff of type %ls is too long", diffType);
    }
    return {};
}

void FileDiffState::reset(bool keepContents) {
    if (filter_ != nullptr && filterState_ != nullptr) {
        filter_->release(filterState_);
    }
    filterState_ = nullptr;
    filter_ = nullptr;
    if (!keepContents) {
        contents.reset();
    }
}

}  // namespace lathwind
