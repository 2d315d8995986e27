#include "utils/posix/Services.h"

// There is no registry: every key is one that does not exist.
namespace lathwind::posix {
namespace {

using platform::ErrorCode;

class PosixRegistry final : public platform::Registry {
public:
    ErrorCode queryValue(platform::RegistryHive, const std::wstring&, const std::wstring&,
                         std::uint32_t, std::size_t, platform::RegistryValue&) override {
        return platform::error::FileNotFound;
    }
    ErrorCode enumerateKeys(platform::RegistryHive, const std::wstring&, std::uint32_t,
                            std::vector<std::wstring>& names) override {
        names.clear();
        return platform::error::FileNotFound;
    }
    ErrorCode enumerateValues(platform::RegistryHive, const std::wstring&, std::uint32_t,
                              std::vector<platform::RegistryValue>& values) override {
        values.clear();
        return platform::error::FileNotFound;
    }
};

}  // namespace

platform::Registry& registry() {
    static platform::Registry& instance = *new PosixRegistry;
    return instance;
}

}  // namespace lathwind::posix
