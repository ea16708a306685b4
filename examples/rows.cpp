// Writes rows, reads them back, and asks for a file that is not there.
#include <iostream>

#include "orlo/rows/csv_parser.h"
#include "orlo/rows/csv_writer.h"

int main() try {
    Orlo::CCsvWriter("prices.csv").WriteRow({"tea, green", "350"});
    Orlo::CCsvParser parser("prices.csv");
    for (Orlo::row_cells row; parser.GetNextRow(row);)
        std::cout << row[0] << " costs " << row[1].to_int64() << "\n";
    Orlo::CCsvParser nothing("/no/such/file.csv");
} catch (const Orlo::rootExp& failure) {
    std::cout << failure.message() << "\n";
}
