#include "Fluvane/UI/Models/FolderText.h"

#include "Fluvane/Client/DataFolders.h"
#include "FluvaneCore/Words.h"

namespace fluvane {

std::string folderText(const URL& folder) {
    const std::string path = folder.path();
    const std::string home = DataFolders::home();
    const bool inHome =
        !home.empty() && path.starts_with(home) && (path.size() == home.size() || path[home.size()] == '/');
    return Words::oneLine(inHome ? "~" + path.substr(home.size()) : path);
}

} // namespace fluvane
