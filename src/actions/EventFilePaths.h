#pragma once

#include <string>

namespace lathwind {

// Where the agent's event files lie, for the whole process. Any thread may call these functions.
enum class EventFile {
    All,       // every recorded event; "../log/QVRIDSEvents.csv" unless told otherwise
    RealTime,  // those for real-time delivery; "../log/QVRRTEvents.csv"
};

std::wstring eventFilePath(EventFile file);
// An empty path stands for the default.
void setEventFilePaths(const std::wstring& all, const std::wstring& realTime);

// The folder of the file with every event, with backslashes and none at its end.
std::wstring eventFileFolder();

}  // namespace lathwind
