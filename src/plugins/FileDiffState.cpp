#include "plugins/FileDiffState.h"

#include <utility>

#include "plugins/DiffFilter.h"

namespace lathwind {

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
    return filter_ != nullptr ? filter_->run(filterState_, previous, current) : std::wstring();
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
