#include "orlo/strings/exceptions.h"

namespace Orlo {

rootExp::~rootExp() = default;

}  // namespace Orlo
