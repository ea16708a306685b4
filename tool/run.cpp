// The road of a run, top down:
//
//   command line -> options -> list of files -> output file created -> rows folded -> groups written -> total
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

enum exit_status { NO_FILE = 1, USAGE_SHOWN = -1 };

constexpr bool WITH_HIDDEN_FILES = true;
constexpr bool IGNORE_ERRORS = false;

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

int run(int argc, char* argv[]) {
    prepare_process();

    CCmdLineParser command;
    command.Load(argc, argv);
    if (command.GetPositionalCount() != 1) {
        print_usage();
        return USAGE_SHOWN;
    }
    run_options options = read_options(command);

    Orlo::CDir here;
    here.Open("."_lit);
    std::vector<Orlo::stringEx> files;
    here.GetAllFiles(files, options.pattern, options.include_sub_dirs, WITH_HIDDEN_FILES, IGNORE_ERRORS);
    if (files.empty()) return NO_FILE;

    here.ResolvePath(options.output_path);
    Orlo::CCsvWriter writer(options.output_path);

    CFold fold(options.key_columns);
    Orlo::CCsvParser parser;
    for (const Orlo::stringEx& path : files)
        fold_file(path, options.skip_first_row, parser, fold);

    const std::int64_t total = write_groups(fold, writer, options.stat_column);
    return print_total(total, options);
}

}  // namespace tallycsv
