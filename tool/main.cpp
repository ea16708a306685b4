#include <clocale>
#include <exception>

#include "fatal_report.h"
#include "orlo/strings/exceptions.h"
#include "run.h"

int main(int argc, char* argv[]) {
    try {
        std::setlocale(LC_ALL, "");
        return tallycsv::run(argc, argv);
    } catch (const Orlo::rootExp& failure) {
        return tallycsv::report_failure(failure);
    } catch (const std::exception& failure) {
        return tallycsv::report_failure(failure);
    } catch (...) {
        return tallycsv::report_unknown_failure();
    }
}
