#include "TessivarCore/AppIdentity.h"

namespace tessivar {

AppIdentity AppIdentity::current{};

} // namespace tessivar
