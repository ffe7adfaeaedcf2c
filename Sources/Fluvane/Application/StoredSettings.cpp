#include "Fluvane/Application/StoredSettings.h"

#include <stdexcept>

namespace fluvane {

void StoredSettings::update(const Config& config) {
    if (config == store_.value() && store_.problem().empty()) {
        return;
    }
    store_.update([&](Config& current) { current = config; });
    if (!store_.problem().empty()) {
        store_.save(); // what failed to be saved may be in force already
    }
    if (!store_.problem().empty()) {
        throw std::runtime_error(store_.problem());
    }
}

} // namespace fluvane
