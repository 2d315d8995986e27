#include "utils/FileUtility.h"

#include <cstddef>

#include "utils/Logging.h"
#include "utils/platform/PlatformFactory.h"

namespace lathwind {
namespace {

namespace error = platform::error;

constexpr wchar_t kMachineEnvironment[] =
    L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment";
constexpr std::size_t kRegistryValueBytes = 260;
// No variable of a system has a longer name: longer pieces between two percent signs are text.
constexpr std::size_t kLongestName = 32767;

// The text of a registry value, up to its terminating zero.
std::wstring textOf(const platform::RegistryValue& value) {
    std::wstring text;
    for (std::size_t i = 0; i + 1 < value.data.size(); i += 2) {
        const auto low = std::to_integer<unsigned>(value.data[i]);
        const auto high = std::to_integer<unsigned>(value.data[i + 1]);
        if ((low | high) == 0) {
            break;
        }
        text += static_cast<wchar_t>(low | high << 8);
    }
    return text;
}

class PlatformFileUtility : public FileUtility {
public:
    std::wstring ExpandVariables(const std::wstring& path,
                                 const std::map<std::wstring, std::wstring>* table) override {
        std::wstring result;
        std::size_t done = 0;
        while (true) {
            const std::size_t begin = path.find(L'%', done);
            const std::size_t end =
                begin == std::wstring::npos ? begin : path.find(L'%', begin + 1);
            if (end == std::wstring::npos) {
                return result.append(path, done);
            }
            result.append(path, done, begin - done);
            const std::wstring name = path.substr(begin + 1, end - begin - 1);
            if (!appendVariable(name, table, result)) {
                result.append(path, begin, end + 1 - begin);
            }
            done = end + 1;
        }
    }

    std::wstring GetCurrentFolder() override {
        std::wstring folder;
        if (platform::files().currentDirectory(folder) != error::Success) {
            return {};
        }
        return folder + L'\\';
    }

private:
    static bool appendVariable(const std::wstring& name,
                               const std::map<std::wstring, std::wstring>* table,
                               std::wstring& result) {
        if (name.empty() || name.size() > kLongestName) {
            return false;
        }
        std::wstring value;
        const platform::ErrorCode code = platform::host().environment(name, value);
        if (code == error::Success && !value.empty()) {
            result += value;
            return true;
        }
        if (code != error::Success && code != error::FileNotFound) {
            // It is there, and could not be fetched.
            debugLog(ModuleId::Utils, L"Failed to get Environment Variable: %ls", name);
            return true;
        }
        if (table != nullptr) {
            if (const auto found = table->find(name); found != table->end()) {
                result += found->second;
                return true;
            }
        }
        platform::RegistryValue stored;
        if (platform::registry().queryValue(platform::RegistryHive::LocalMachine,
                                            kMachineEnvironment, name,
                                            platform::registryAccess::QueryValue,
                                            kRegistryValueBytes, stored) != error::Success) {
            return false;
        }
        result += textOf(stored);
        return true;
    }
};

}  // namespace

std::unique_ptr<FileUtility> makeFileUtility() {
    return std::make_unique<PlatformFileUtility>();
}

}  // namespace lathwind
