#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "utils/InternedText.h"

namespace lathwind {

// The configured entries that led to one path, in the order in which they came: one as a rule, and
// seldom more than three. An entry is never empty.
class PathEntries {
public:
    bool empty() const noexcept { return first_.empty(); }
    std::size_t size() const noexcept {
        return empty() ? 0 : 1 + (others_ == nullptr ? 0 : others_->size());
    }
    const InternedText& first() const noexcept { return first_; }

    template <class Visit>
    void forEach(const Visit& visit) const {
        if (!empty()) {
            visit(first_);
        }
        if (others_ != nullptr) {
            std::for_each(others_->begin(), others_->end(), visit);
        }
    }

    void add(const InternedText& entry) {
        if (empty()) {
            first_ = entry;
        } else if (!(first_ == entry) && !isAmongOthers(entry)) {
            if (others_ == nullptr) {
                others_ = std::make_unique<std::vector<InternedText>>();
            }
            others_->push_back(entry);
        }
    }

    bool erase(const InternedText& entry) {
        if (empty()) {
            return false;
        }
        if (first_ == entry) {
            eraseFirst();
            return true;
        }
        if (!isAmongOthers(entry)) {
            return false;
        }
        others_->erase(std::find(others_->begin(), others_->end(), entry));
        dropOthersIfEmpty();
        return true;
    }

    void eraseFirst() {
        if (others_ == nullptr) {
            first_ = InternedText();
            return;
        }
        first_ = std::move(others_->front());
        others_->erase(others_->begin());
        dropOthersIfEmpty();
    }

private:
    bool isAmongOthers(const InternedText& entry) const {
        return others_ != nullptr &&
               std::find(others_->begin(), others_->end(), entry) != others_->end();
    }
    void dropOthersIfEmpty() {
        if (others_->empty()) {
            others_.reset();
        }
    }

    InternedText first_;
    std::unique_ptr<std::vector<InternedText>> others_;
};

}  // namespace lathwind
