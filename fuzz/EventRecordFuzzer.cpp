// The record of an event. What could be read is written, and comes back from that as it is; a
// record in which no text was cut is written as it was read.

#include <sstream>

#include "events/IDSEvent.h"

namespace {

std::string recordOf(lathwind::IDSEvent& event) {
    std::ostringstream stream;
    event.WriteObject(stream);
    return stream.str();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace lathwind;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    std::istringstream stream(bytes);
    IDSEvent event;
    try {
        event.ReadObject(stream);
    } catch (const SerializeException&) {
        return 0;
    }
    const auto taken = static_cast<std::size_t>(stream.tellg());
    const std::string record = recordOf(event);
    if (record.size() > taken || (record.size() == taken && bytes.compare(0, taken, record) != 0)) {
        __builtin_trap();
    }
    std::istringstream again(record);
    IDSEvent copy;
    copy.SetSourceKind(sourceKind::LogWatch, false);
    copy.ReadObject(again);
    if (recordOf(copy) != record || copy.GetPrintedForm() != event.GetPrintedForm() ||
        copy.GetField(eventField::FirstValue) !=
            (event.GetValues().empty() ? std::wstring() : event.GetValues().front())) {
        __builtin_trap();
    }
    return 0;
}
