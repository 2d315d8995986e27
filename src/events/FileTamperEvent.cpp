#include "events/FileTamperEvent.h"

#include "utils/Format.h"

namespace lathwind {
namespace {

// The lines that files and links have in common, up to the action.
std::wstring opening(const std::wstring& label, FileAction action) {
    std::wstring text;
    if (!label.empty()) {
        appendFormat(text, L"Label: %ls\n", label);
    }
    appendFormat(text, L"Detected File Tampering - Action: %ls", fileActionText(action));
    return text;
}

std::wstring describeFile(const std::wstring& name, bool isFolder, FileAction action,
                          const std::wstring& label) {
    std::wstring text = opening(label, action);
    appendFormat(text, L"%ls\nName: %ls\n", isFolder ? L" Folder" : L" File", name);
    return text;
}

std::wstring describeLink(const std::wstring& name, const std::wstring& target, bool existed,
                          FileAction action, const std::wstring& label) {
    std::wstring text = opening(label, action);
    const bool reappeared = existed && action == FileAction::Added;
    appendFormat(text, L"%ls\nName: %ls -> %ls\n", reappeared ? L"(Reappeared)" : L"", name,
                 target);
    return text;
}

}  // namespace

FileTamperEvent::FileTamperEvent(const std::wstring& name, bool isFolder, bool /*existed*/,
                                 FileAction action, const std::wstring& label)
    : DescribedEvent(name, describeFile(name, isFolder, action, label)) {}

SymlinkTamperEvent::SymlinkTamperEvent(const std::wstring& name, const std::wstring& target,
                                       bool existed, FileAction action, const std::wstring& label)
    : DescribedEvent(name, describeLink(name, target, existed, action, label)) {}

}  // namespace lathwind
