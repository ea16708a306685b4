#pragma once

#include <filesystem>

namespace testing_support {

/// The folder that holds README.md, for tests that read a file of the project.
std::filesystem::path project_folder();

}  // namespace testing_support
