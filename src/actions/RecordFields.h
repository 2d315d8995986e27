#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "events/IDSEvent.h"

namespace lathwind {

// The fields of one CSV record by their number, as log rules name them. For one thread; the record
// must outlive it.
class RecordFields {
public:
    // From this number on a field is not one of the record's: it is what the macro "v" and the
    // number ("v210", the local time) gives for an event of the record's time on this host.
    static constexpr std::int32_t kFirstExtended = 100;

    explicit RecordFields(const std::vector<std::wstring>& record) : record_(record) {}

    // Numbers count from 1. Nothing for a number that the record does not reach, that is below 1 or
    // that names no macro, and for a macro without a value, such as a local time where the record
    // has no date.
    std::optional<std::wstring> get(std::int32_t number);

private:
    std::optional<std::wstring> getExtended(std::int32_t number);

    const std::vector<std::wstring>& record_;
    std::optional<IDSEvent> event_;  // made for the first extended field
};

}  // namespace lathwind
