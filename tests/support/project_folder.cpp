#include "support/project_folder.h"

namespace testing_support {

std::filesystem::path project_folder() {
    return ORLO_SOURCE_DIR;
}

}  // namespace testing_support
