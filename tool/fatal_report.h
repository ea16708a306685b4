#pragma once

#include <exception>

#include "orlo/strings/exceptions.h"

namespace tallycsv {

// What is left to do when a failure reaches `main`: one report on standard error, and to the log if there is
// one. Each returns the status that the process ends with, -1.

int report_failure(const Orlo::rootExp& failure);
int report_failure(const std::exception& failure);
int report_unknown_failure();

}  // namespace tallycsv
