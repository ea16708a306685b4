#include <clocale>
#include <exception>

#include "fatal_report.h"
#include "orlo/strings/exceptions.h"
#include "run.h"

int main(int argc, char* argv[]) {
    try {
        std::setlocale(LC_ALL, "");
        return tallycsv::Run(argc, argv);
    } catch (const Orlo::rootExp& failure) {
        return tallycsv::ReportFailure(failure);
    } catch (const std::exception& failure) {
        return tallycsv::ReportFailure(failure);
    } catch (...) {
        return tallycsv::ReportUnknownFailure();
    }
}
