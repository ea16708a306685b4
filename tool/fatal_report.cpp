#include "fatal_report.h"

#include <cstdio>
#include <string_view>

#include "orlo/log/front.h"

namespace tallycsv {
namespace {

constexpr int FATAL_STATUS = -1;

int report(std::string_view message) {
    constexpr std::string_view mark = "## [FATAL ERROR]: ";
    std::fwrite(mark.data(), 1, mark.size(), stderr);
    std::fwrite(message.data(), 1, message.size(), stderr);
    std::fputc('\n', stderr);
    return FATAL_STATUS;
}

}  // namespace

int report_failure(const Orlo::rootExp& failure) {
    const Orlo::stringEx message = failure.message().terminated();
    Orlo::LogFatal("main", "Orlo lib error:\n@ %s", message.c_str());
    return report(message.view());
}

int report_failure(const std::exception& failure) {
    Orlo::LogFatal("main", "vc runtime error:\n@ %s", failure.what());
    return report(failure.what());
}

int report_unknown_failure() {
    return report("unknown system error");
}

}  // namespace tallycsv
