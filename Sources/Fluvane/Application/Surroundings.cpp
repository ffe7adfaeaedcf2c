#include "Fluvane/Application/Surroundings.h"

#include "Fluvane/Client/DataFolders.h"

#include <QMimeDatabase>
#include <QStandardPaths>

#include <chrono>
#include <memory>
#include <random>

namespace fluvane {

namespace {

std::optional<std::string> preferredExtension(const std::string& mimeType) {
    const auto type = QMimeDatabase().mimeTypeForName(QString::fromStdString(mimeType));
    const std::string suffix = type.isValid() ? type.preferredSuffix().toStdString() : "";
    return suffix.empty() ? std::nullopt : std::optional(suffix);
}

std::string downloadFolder() {
    return QStandardPaths::writableLocation(QStandardPaths::DownloadLocation).toStdString();
}

} // namespace

DownloadManager::Surroundings systemSurroundings() {
    return {
        .types = preferredExtension,
        .folder =
            [](const std::optional<std::string>& path) {
                return URL::folder(DataFolders::absolutePath(path ? *path : downloadFolder()));
            },
        .today = [] { return std::chrono::system_clock::now(); },
    };
}

std::function<double()> systemRandom() {
    const auto engine = std::make_shared<std::mt19937_64>(std::random_device()());
    return [engine] { return std::generate_canonical<double, 53>(*engine); };
}

} // namespace fluvane
