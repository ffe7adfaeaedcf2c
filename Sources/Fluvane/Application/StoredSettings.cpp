#include "Fluvane/Application/StoredSettings.h"

#include <stdexcept>

namespace fluvane {

void StoredSettings::update(const Config& config) {
    if (config == store_.value()) {
        return;
    }
    store_.update([&](Config& current) { current = config; });
    if (!store_.problem().empty()) {
        throw std::runtime_error(store_.problem());
    }
}

} // namespace fluvane
