// A log-watch list of any bytes, as far as the properties of its entries and their record.

#include <sstream>

#include "filewatch/LogFileProperties.h"
#include "utils/IniFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace lathwind;
    IniFile ini;
    ini.parseBytes({reinterpret_cast<const char*>(data), size});
    const std::int32_t count = LogFileProperties::GetEntryCount(ini);
    for (std::int32_t index = 1; index <= count && index <= 4; ++index) {
        LogFileProperties properties;
        LogFileProperties::ReadFromIni(ini, properties, index);
        if (properties.GetInjectEvent() > 2 || properties.GetSourceType() < -1 ||
            properties.GetSourceType() > 3) {
            __builtin_trap();
        }
        std::stringstream record;
        try {
            properties.WriteObject(record);
        } catch (const SerializeException&) {
            continue;  // a text of more than 2048 units
        }
        LogFileProperties again;
        again.ReadObject(record);
    }
    return 0;
}
