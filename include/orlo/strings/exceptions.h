#pragma once

#include <cstdint>

#include "orlo/strings/buffer.h"

namespace Orlo {

/// The root of all failures of the library: a message and a code.
///
/// Thrown by value, caught by reference. It is not derived from `std::exception`. The message is one constant
/// line ("CDir::Open - nothing to open"), or a first line and diagnostic lines `key = value`; an outer
/// operation that wraps an inner failure adds a line that begins "@ " and holds the inner message. The code
/// numbers the failures of one class and has no meaning across classes.
class rootExp {
public:
    rootExp(stringEx message, std::int32_t code) noexcept : message_(std::move(message)), code_(code) {}
    rootExp(const rootExp&) noexcept = default;
    rootExp& operator=(const rootExp&) = default;
    virtual ~rootExp();

    /// The full text; shares its block with the exception.
    const stringEx& message() const noexcept { return message_; }
    /// The failure's number within its class.
    std::int32_t code() const noexcept { return code_; }

private:
    stringEx message_;
    std::int32_t code_;
};

// The tree. A class adds nothing to its base but its place.

/// Everything but the root: what clients catch to mean "any failure of the library".
struct utilExp : rootExp {
    using rootExp::rootExp;
};

/// Input and output.
struct ioExp : utilExp {
    using utilExp::utilExp;
};
/// The tagged binary serialisation.
struct isxfExp : ioExp {
    using ioExp::ioExp;
};
/// Directories and paths: `CDir`, `PosixReadDir`, `PosixStat`.
struct dirExp : ioExp {
    using ioExp::ioExp;
};
/// Files of any kind.
struct fileExp : ioExp {
    using ioExp::ioExp;
};
/// `CSysFile`.
struct sysfileExp : fileExp {
    using fileExp::fileExp;
};
/// `CPipe`.
struct pipeExp : sysfileExp {
    using sysfileExp::sysfileExp;
};
/// `CFileMapping`.
struct fmppExp : fileExp {
    using fileExp::fileExp;
};
/// `CCFile`.
struct cfileExp : fileExp {
    using fileExp::fileExp;
};
/// `CShMem`.
struct shmemExp : ioExp {
    using ioExp::ioExp;
};

/// Helpers.
struct auxExp : utilExp {
    using utilExp::utilExp;
};
/// `CCsvParser`, `CJsonParser`.
struct csvExp : auxExp {
    using auxExp::auxExp;
};
/// Logging.
struct logExp : auxExp {
    using auxExp::auxExp;
};

/// `CRegEx`, `CWRegEx`.
struct regexExp : auxExp {
    using auxExp::auxExp;
};

/// System services.
struct syssrvExp : utilExp {
    using utilExp::utilExp;
};
/// `CProcess`.
struct procExp : syssrvExp {
    using syssrvExp::syssrvExp;
};
/// `CFakeRegistry`.
struct regExp : syssrvExp {
    using syssrvExp::syssrvExp;
};
/// `CTlsSlot`.
struct tlsExp : syssrvExp {
    using syssrvExp::syssrvExp;
};
/// `CDllLoader`.
struct dlllExp : syssrvExp {
    using syssrvExp::syssrvExp;
};
/// `TThread`.
struct threadExp : syssrvExp {
    using syssrvExp::syssrvExp;
};
/// `CTime`.
struct timeExp : syssrvExp {
    using syssrvExp::syssrvExp;
};
/// `TTextConv`.
struct tconvExp : syssrvExp {
    using syssrvExp::syssrvExp;
};
/// `CTextLibIConv`.
struct libiconvExp : tconvExp {
    using tconvExp::tconvExp;
};
/// `CTextLibIcu`.
struct libicuExp : tconvExp {
    using tconvExp::tconvExp;
};

/// Synchronisation.
struct syncExp : utilExp {
    using utilExp::utilExp;
};
/// Reader/writer locks.
struct rwlExp : syncExp {
    using syncExp::syncExp;
};
/// `CEvent`, `CProcEvent`.
struct eventExp : syncExp {
    using syncExp::syncExp;
};
/// `CMutex`, `CProcMutex`.
struct mutexExp : syncExp {
    using syncExp::syncExp;
};
/// `CSem`, `CProcSem`.
struct semExp : syncExp {
    using syncExp::syncExp;
};

}  // namespace Orlo
