#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "orlo/export.h"
#include "orlo/strings/buffer.h"
#include "orlo/strings/exceptions.h"
#include "orlo/strings/shared_ptr.h"

namespace Orlo {

/// The codes of `tconvExp`.
namespace tconv_code {
enum : std::int32_t {
    failed = 1,  // an encoding that the table or no converter knows, or a name that the encoding cannot hold
};
}  // namespace tconv_code

/// The codes of `libiconvExp`.
namespace libiconv_code {
enum : std::int32_t {
    load = 1,
    open = 2,
    close = 3,
};
}  // namespace libiconv_code

/// The codes of `libicuExp`.
namespace libicu_code {
enum : std::int32_t {
    load = 1,
    open = 2,
    convert = 3,
};
}  // namespace libicu_code

/// A row of the encoding table.
struct ENCODING_INFO {
    stringEx name;
    stringEx description;
    std::uint32_t codePage = 0;
    /// 1 for the Arabic and Hebrew encodings, 0 for all others.
    std::uint32_t isRightToLeft = 0;
};

/// A group of encodings, as a user interface offers them. An encoding can stand in several groups.
struct CHARSET_GROUP {
    stringEx name;
    std::vector<stringEx> encodings;
};

/// A converter between text in one encoding (narrow) and wide text (32-bit characters).
///
/// ```cpp
/// const shared_ptr<TTextConv> latin2 = TTextConv::Create("ISO-8859-2"_lit);
/// const wstringEx wide = latin2->MBtoWC("\xA3\xF3\x64\xBC"_lit);  // L"Łódź"
/// const stringEx narrow = TTextConv::GetDefault().WCtoMB(wide);  // as the user's terminal takes it
/// ```
///
/// Text comes from the C library's locale, from an iconv or from an ICU. The last two are looked for at run
/// time, when they are first needed, and given up with the last converter that uses them; a program starts
/// and works without them. UTF-8 needs neither, and is fastest.
///
/// A conversion never fails because of a character: one that the target lacks is dropped, except that ICU
/// writes its encoding's substitution character. In UTF-8 a byte that begins no well-formed sequence becomes
/// the character of its own value, and a wide character that is no Unicode scalar value is written as U+FFFD.
/// Each call converts a whole text: no shift state stays from one call to the next.
///
/// The class itself is the converter of last resort: each byte is one character, and what is above 255 is
/// dropped.
///
/// Names of encodings are compared without case, and, where that finds nothing, also without "-" and "_":
/// "utf8" is "UTF-8".
///
/// The environment is read once: `ORLO_DEFAULT_MBCS`, `LC_CTYPE`, `LANG` and `LC_ALL` for the default
/// encoding, `ORLO_TEXTCONV_IGNORE_LIST` for what is never used ("iconv", "ICU", "ISOC" for the C library;
/// separated by ";", "/" or "|"), and `ORLO_LIBICU_VER` for ICU's version ("72").
///
/// Threads: everything may be called from any thread, also on one converter. Converters of the C library's
/// locale take it as it is at the time of the call.
///
/// Failures: `tconvExp` of `tconv_code`, and what stands at each operation.
class ORLO_API TTextConv {
public:
    TTextConv() noexcept = default;
    TTextConv(const TTextConv&) = delete;
    TTextConv& operator=(const TTextConv&) = delete;
    /// Gives up a library that no other converter uses. A failure (`libiconvExp` of code `close`, `dlllExp`)
    /// is dropped while an exception is in flight.
    virtual ~TTextConv() noexcept(false);

    // A converter that knows one encoding only (this class, the C library's, the built-in one for UTF-8) gives
    // a copy of itself, whatever is asked for.

    /// A new converter of the same kind for another encoding. Fails as the kind's `Create` does.
    [[nodiscard]] virtual shared_ptr<TTextConv> CloneByCP(std::uint32_t codePage) const;
    /// A new converter for the same encoding.
    [[nodiscard]] virtual shared_ptr<TTextConv> Clone() const;
    [[nodiscard]] virtual shared_ptr<TTextConv> CloneByName(const stringEx& encoding) const;

    /// Appends the wide form of `source`; returns how many characters were appended. Fails with `libicuExp` of
    /// code `convert` where ICU fails, as it does with texts of more than 512 Mi bytes.
    virtual std::size_t AppendMBtoWC(const stringEx& source, wstringEx& destination) const;
    /// Appends the encoded form of `source`; returns how many bytes were appended. Fails likewise.
    virtual std::size_t AppendWCtoMB(const wstringEx& source, stringEx& destination) const;

    /// The name of the encoding.
    virtual stringEx GetEncName() const;
    /// Its code page. Fails for a converter by a name that is not in the table.
    virtual std::uint32_t GetCodePage() const;

    /// The same conversions as new text.
    wstringEx MBtoWC(const stringEx& source) const {
        wstringEx made;
        AppendMBtoWC(source, made);
        return made;
    }
    stringEx WCtoMB(const wstringEx& source) const {
        stringEx made;
        AppendWCtoMB(source, made);
        return made;
    }

    /// A new converter for an encoding, which may be one that is not in the table but known to a library.
    /// The default encoding is converted by the C library where its locale has that encoding, UTF-8 by this
    /// library, any other by iconv or else by ICU. Fails with `libiconvExp` or `libicuExp` of the last one
    /// that was tried, and with `tconvExp` when none may be used.
    [[nodiscard]] static shared_ptr<TTextConv> Create(const stringEx& encoding);
    /// The same by the code page. Of several encodings with one number the first in the table is meant.
    [[nodiscard]] static shared_ptr<TTextConv> Create(std::uint32_t codePage);

    /// The converter of the default encoding, one for the process, made at the first call. Never fails: where
    /// no converter can be made it is a plain `TTextConv`.
    static TTextConv& GetDefault();
    /// The name of the default encoding: of `ORLO_DEFAULT_MBCS`, or after the "." of the first locale variable
    /// that has one; "ASCII" otherwise.
    static stringEx GetDefaultEncoding();
    /// The name of the locale ("de_DE"), of `LANG`, `LC_CTYPE` or `LC_ALL`; "en_US" otherwise.
    static stringEx GetDefaultLocale();

    /// The code page of an encoding. Fails for a name that is not in the table.
    static std::uint32_t EncToCP(const stringEx& encoding);
    /// The first encoding in the table with that code page. Fails when there is none.
    static stringEx CPToEnc(std::uint32_t codePage);
    /// The table's row. Fails for a name that is not in the table.
    static ENCODING_INFO GetEncInfo(const stringEx& encoding);
    /// All rows in the order of the table. The first one is nameless: the default.
    static std::vector<ENCODING_INFO> GetEncodings();
    /// The groups by script and region that a user interface offers.
    static std::vector<CHARSET_GROUP> GetCharsetGroups();
};

}  // namespace Orlo
