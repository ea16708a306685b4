#pragma once

#include <cstdint>

#include "orlo/export.h"
#include "orlo/strings/buffer.h"

namespace Orlo {

/// The root of all failures of the library: a message, a code and the system's error number.
///
/// It is thrown by value and caught by reference, and is not derived from `std::exception`. The message is one
/// constant line ("CDir::Open - nothing to open"), or a first line and diagnostic lines `key = value`; an outer
/// operation that wraps an inner failure adds a line that begins with "@ " and holds the inner message. The
/// code numbers the failures of one class and has no meaning across classes: the header of each class that
/// throws names its codes in a namespace (`dir_code` for `dirExp`).
///
/// ```cpp
/// try {
///     throw dirExp("CDir::Open - nothing to open"_lit, 2);
/// } catch (const ioExp& failure) {
///     const bool gone = failure.error_number() == 2;       // ENOENT
///     const stringEx line = failure.message() + (gone ? ", it is gone" : "");
/// }
/// ```
class ORLO_API rootExp {
public:
    rootExp(stringEx message, std::int32_t code, int error_number = 0) noexcept
        : message_(std::move(message)), code_(code), error_number_(error_number) {}
    rootExp(const rootExp&) noexcept = default;
    rootExp& operator=(const rootExp&) = default;
    virtual ~rootExp();

    /// The full text; shares its block with the exception.
    [[nodiscard]] const stringEx& message() const noexcept { return message_; }
    /// The failure's number within its class.
    [[nodiscard]] std::int32_t code() const noexcept { return code_; }
    /// The `errno` of the system call that failed, here or in the failure that this one wraps; 0 if it was
    /// none.
    [[nodiscard]] int error_number() const noexcept { return error_number_; }

private:
    stringEx message_;
    std::int32_t code_;
    int error_number_;
};

// The tree. A class adds nothing to its base but its place.

/// Everything but the root: what clients catch to mean "any failure of the library".
struct ORLO_API utilExp : rootExp {
    using rootExp::rootExp;
};

/// Input and output.
struct ORLO_API ioExp : utilExp {
    using utilExp::utilExp;
};
/// The tagged binary serialisation.
struct ORLO_API isxfExp : ioExp {
    using ioExp::ioExp;
};
/// Directories and paths: `CDir`, `PosixReadDir`, `PosixStat`.
struct ORLO_API dirExp : ioExp {
    using ioExp::ioExp;
};
/// Files of any kind.
struct ORLO_API fileExp : ioExp {
    using ioExp::ioExp;
};
/// `CSysFile`.
struct ORLO_API sysfileExp : fileExp {
    using fileExp::fileExp;
};
/// `CPipe`.
struct ORLO_API pipeExp : sysfileExp {
    using sysfileExp::sysfileExp;
};
/// `CFileMapping`.
struct ORLO_API fmppExp : fileExp {
    using fileExp::fileExp;
};
/// `CCFile`.
struct ORLO_API cfileExp : fileExp {
    using fileExp::fileExp;
};
/// `CShMem`.
struct ORLO_API shmemExp : ioExp {
    using ioExp::ioExp;
};

/// Helpers.
struct ORLO_API auxExp : utilExp {
    using utilExp::utilExp;
};
/// `CCsvParser`, `CJsonParser`.
struct ORLO_API csvExp : auxExp {
    using auxExp::auxExp;
};
/// Logging.
struct ORLO_API logExp : auxExp {
    using auxExp::auxExp;
};

/// `CRegEx`, `CWRegEx`.
struct ORLO_API regexExp : auxExp {
    using auxExp::auxExp;
};

/// System services.
struct ORLO_API syssrvExp : utilExp {
    using utilExp::utilExp;
};
/// `CProcess`.
struct ORLO_API procExp : syssrvExp {
    using syssrvExp::syssrvExp;
};
/// `CFakeRegistry`.
struct ORLO_API regExp : syssrvExp {
    using syssrvExp::syssrvExp;
};
/// `CTlsSlot`.
struct ORLO_API tlsExp : syssrvExp {
    using syssrvExp::syssrvExp;
};
/// `CDllLoader`.
struct ORLO_API dlllExp : syssrvExp {
    using syssrvExp::syssrvExp;
};
/// `TThread`.
struct ORLO_API threadExp : syssrvExp {
    using syssrvExp::syssrvExp;
};
/// `CTime`.
struct ORLO_API timeExp : syssrvExp {
    using syssrvExp::syssrvExp;
};
/// `TTextConv`.
struct ORLO_API tconvExp : syssrvExp {
    using syssrvExp::syssrvExp;
};
/// `CTextLibIConv`.
struct ORLO_API libiconvExp : tconvExp {
    using tconvExp::tconvExp;
};
/// `CTextLibIcu`.
struct ORLO_API libicuExp : tconvExp {
    using tconvExp::tconvExp;
};

/// Synchronisation.
struct ORLO_API syncExp : utilExp {
    using utilExp::utilExp;
};
/// Reader/writer locks.
struct ORLO_API rwlExp : syncExp {
    using syncExp::syncExp;
};
/// `CEvent`, `CProcEvent`.
struct ORLO_API eventExp : syncExp {
    using syncExp::syncExp;
};
/// `CMutex`, `CProcMutex`.
struct ORLO_API mutexExp : syncExp {
    using syncExp::syncExp;
};
/// `CSem`, `CProcSem`.
struct ORLO_API semExp : syncExp {
    using syncExp::syncExp;
};

}  // namespace Orlo
