// The road of a run, top down:
//
//   command line -> list of files -> options -> output file created -> rows folded -> groups written -> total
//
// The input is listed before the output exists, and the output exists before any input is read: an output
// file that the pattern matches is read as an empty input.

#include "run.h"

#include <vector>

#include "cmd_line.h"
#include "console.h"
#include "fold.h"
#include "options.h"
#include "orlo/data/generic_adapters.h"
#include "orlo/files/dir.h"
#include "orlo/files/sys_file.h"
#include "orlo/rows/csv_parser.h"
#include "orlo/rows/csv_writer.h"
#include "output.h"
#include "total.h"
#include "usage.h"

namespace tallycsv {
namespace {

enum exit_status { DONE = 0, NO_FILE = 1, USAGE_SHOWN = -1 };

/// Folds all rows of a file. The parser is lent, since making one costs more than reading a small file.
void fold_file(const Orlo::stringEx& path, bool skip_first_row, Orlo::CCsvParser& parser, CFold& fold) {
    using source = Orlo::CGenericSeekableSource<Orlo::CSysFile>;
    Orlo::CSysFile file;
    file.Open(path, Orlo::file_access::read);
    parser.Attach(Orlo::shared_ptr<source>::make(std::move(file)));
    Orlo::row_cells first;
    if (!skip_first_row || parser.GetNextRow(first)) {
        Orlo::csv_rows_view rows;
        while (parser.GetNextRows(rows))
            fold.AddRows(rows);
    }
    parser.Attach(Orlo::shared_ptr<source>());  // which closes the file
}

}  // namespace

int Run(int argc, char* argv[]) {
    PrepareProcess();

    CCmdLineParser command;
    command.Load(argc, argv);
    if (command.GetPositionalCount() != 1) {
        PrintUsage();
        return USAGE_SHOWN;
    }
    const input_options input = ReadInputOptions(command);

    Orlo::CDir here;
    here.Open("."_lit);
    std::vector<Orlo::stringEx> files;
    here.GetAllFiles(files, input.pattern, input.include_sub_dirs, true, false);
    if (files.empty()) return NO_FILE;

    run_options options = ReadRunOptions(command);
    here.ResolvePath(options.output_path);
    Orlo::CCsvWriter writer(options.output_path);
    ReadStatOptions(command, options);

    CFold fold(options.key_columns);
    Orlo::CCsvParser parser;
    for (const Orlo::stringEx& path : files)
        fold_file(path, input.skip_first_row, parser, fold);

    const std::int64_t total = WriteGroups(fold, writer, options.stat_column);
    return PrintTotal(total, options);
}

}  // namespace tallycsv
