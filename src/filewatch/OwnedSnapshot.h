#pragma once

#include <memory>
#include <utility>

#include "filewatch/FileAttributes.h"

namespace lathwind {

// The snapshot that an entity holds, of which it may have given copies away without copying
// anything: what was shared never changes any more, since the next change in place is made to a
// clone. Replacing the snapshot by a new one, which is what an entity mostly does, costs nothing.
//
// Guarded like the entity. What was shared may be read by any thread.
class OwnedSnapshot {
public:
    explicit OwnedSnapshot(std::unique_ptr<FileAttributes> snapshot)
        : snapshot_(std::move(snapshot)) {}
    OwnedSnapshot(const OwnedSnapshot&) = delete;
    OwnedSnapshot& operator=(const OwnedSnapshot&) = delete;
    OwnedSnapshot& operator=(std::unique_ptr<FileAttributes> snapshot) {
        snapshot_ = std::move(snapshot);
        isShared_ = false;
        return *this;
    }

    const FileAttributes& operator*() const noexcept { return *snapshot_; }
    const FileAttributes* operator->() const noexcept { return snapshot_.get(); }

    // To change the snapshot in place. The reference is good until the next operation.
    FileAttributes& edit() {
        if (isShared_) {
            *this = snapshot_->Clone();
        }
        return *snapshot_;
    }
    // Takes the snapshot anew from the live object.
    void renew() {
        if (isShared_) {
            *this = snapshot_->TakeNew();
        } else {
            snapshot_->Initialize();
        }
    }
    std::shared_ptr<const FileAttributes> share() noexcept {
        isShared_ = true;
        return snapshot_;
    }

private:
    // A flag rather than the pointer's count: a count of one tells nothing about what the last
    // reader on another thread still does.
    bool isShared_ = false;
    std::shared_ptr<FileAttributes> snapshot_;  // never null
};

}  // namespace lathwind
