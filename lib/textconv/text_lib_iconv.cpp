// Conversion by iconv.
//
// Both descriptors are opened with "//IGNORE": what the target lacks is dropped. The C library's iconv goes on
// after such a character, but reports it at the end of a stretch of some thousand bytes and stops there; so it
// is called again until the text is used up. Where a call neither reads nor writes anything, one unit of the
// text is passed over.

#include "textconv/text_lib_iconv.h"

#include <cerrno>

#include "orlo/strings/destructor_guard.h"
#include "orlo/threads/lock_guard.h"
#include "strings/failure.h"
#include "textconv/encoding_table.h"

namespace Orlo {
namespace {

using namespace IMPL;

constexpr failure<libiconvExp> EARLY_FAULT = {
    {.code = libiconv_code::load,
     .head = "CTextLibIConv::__AddRef - libiconv could not be loaded (early fault)"}};

#define ORLO_OPEN_HEAD "CTextLibIConv::CTextLibIConv - failed init encoding convertion\n"
constexpr failure<libiconvExp> OPEN_FAILED = {{
    .code = libiconv_code::open,
    .head = ORLO_OPEN_HEAD,
    .keys = {"  encoding name = ", "  error code    = ", "  error desc    = "},
}};
constexpr failure<libiconvExp> OPEN_BY_NUMBER_FAILED = {{
    .code = libiconv_code::open,
    .head = ORLO_OPEN_HEAD,
    .keys = {"  code page     = ", "  error code    = ", "  error desc    = "},
}};
constexpr failure<libiconvExp> CLOSE_FAILED = {
    {.code = libiconv_code::close,
     .head = "CTextLibIConv::~CTextLibIConv - failed release lib iconv's convertion descriptor"}};

constexpr const char* WIDE = "UCS-4LE";
constexpr const char* WIDE_IGNORING = "UCS-4LE//IGNORE";
constexpr std::size_t LONGEST_NAME = 64;
constexpr auto CONVERT_FAILED = static_cast<std::size_t>(-1);

/// Marks a descriptor that is not open.
iconv_api::descriptor closed() noexcept {
    return reinterpret_cast<iconv_api::descriptor>(std::intptr_t{-1});
}

stringEx known_name(const stringEx& encoding) {
    const encoding_row* const row = find_encoding(encoding);
    return row != nullptr ? stringEx::borrow(row->known_to_iconv()) : encoding;
}

/// False for names that mean something else to iconv than an encoding: none (the locale's), one with options,
/// or one that a zero cuts.
bool can_be_name(std::string_view name) noexcept {
    return !name.empty() && name.size() <= LONGEST_NAME &&
           name.find_first_of(std::string_view("/\0", 2)) == name.npos;
}

std::size_t unit_of(const stringEx& encoding) {
    stringEx name(encoding);
    name.to_upper();
    if (name.starts_with("UTF-16"_lit) || name.starts_with("UCS-2"_lit)) return 2;
    if (name.starts_with("UTF-32"_lit) || name.starts_with("UCS-4"_lit)) return 4;
    return 1;
}

/// Converts a whole text from and to the initial state. `room` is how many elements are to be expected.
template <class To>
void convert(iconv_api::descriptor descriptor, const void* text, std::size_t size, std::size_t unit,
             basic_buffer<To>& out, std::size_t room) {
    const iconv_api& iconv = iconv_library().Functions();
    char* read = static_cast<char*>(const_cast<void*>(text));
    bool ending = false;
    iconv.convert(descriptor, nullptr, nullptr, nullptr, nullptr);
    out.reserve_for_write(out.size() + room + 1);
    for (;;) {
        char* const begin = reinterpret_cast<char*>(out.mutable_data() + out.size());
        char* write = begin;
        std::size_t left = (out.capacity() - out.size() - 1) * sizeof(To);
        const std::size_t size_before = size;
        const std::size_t converted = ending ? iconv.convert(descriptor, nullptr, nullptr, &write, &left)
                                             : iconv.convert(descriptor, &read, &size, &write, &left);
        const int error = converted == CONVERT_FAILED ? errno : 0;
        out.set_size(out.size() + static_cast<std::size_t>(write - begin) / sizeof(To));
        if (error == E2BIG) {
            out.reserve_for_write(out.size() + out.size() / 2 + LONGEST_NAME);
        } else if (ending) {
            return;
        } else if (error == EILSEQ) {
            if (size == size_before && write == begin) {
                const std::size_t passed = std::min(unit, size);
                read += passed;
                size -= passed;
            }
        } else {
            // all is read, or a cut sequence is left; what the state owes is written next
            ending = true;
        }
    }
}

}  // namespace

/// What is said when the descriptors cannot be opened.
struct CTextLibIConv::COpenFailure {
    const failure<libiconvExp>& layout;
    failure_value asked_for;
};

CTextLibIConv::CTextLibIConv(const stringEx& encoding) : CTextLibIConv(encoding, {OPEN_FAILED, encoding}) {}

CTextLibIConv::CTextLibIConv(std::uint32_t codePage)
    : CTextLibIConv(CPToEnc(codePage), {OPEN_BY_NUMBER_FAILED, codePage}) {}

CTextLibIConv::CTextLibIConv(const stringEx& encoding, const COpenFailure& failure)
    : CNamedConv(encoding),
      m_library(iconv_library(), EARLY_FAULT),
      m_toWide(closed()),
      m_fromWide(closed()),
      m_unit(unit_of(encoding)) {
    const iconv_api& iconv = iconv_library().Functions();
    const stringEx name = known_name(encoding).terminated();
    stringEx ignoring(name);
    ignoring.append("//IGNORE");
    int error = EINVAL;
    if (can_be_name(name)) {
        errno = 0;
        m_fromWide = iconv.open(ignoring.c_str(), WIDE);
        if (m_fromWide != closed()) m_toWide = iconv.open(WIDE_IGNORING, name.c_str());
        error = errno;
    }
    if (m_toWide != closed()) return;
    if (m_fromWide != closed()) iconv.close(m_fromWide);
    failure.layout.raise({failure.asked_for, system_error{error}});
}

CTextLibIConv::~CTextLibIConv() noexcept(false) {
    const iconv_api& iconv = iconv_library().Functions();
    const bool from_wide_closed = iconv.close(m_fromWide) == 0;
    const bool to_wide_closed = iconv.close(m_toWide) == 0;
    if (!from_wide_closed || !to_wide_closed) finish_in_destructor([] { CLOSE_FAILED.raise(); });
}

std::size_t CTextLibIConv::AppendMBtoWC(const stringEx& source, wstringEx& destination) const {
    const CLockGuard guard(m_lock);
    const std::size_t old_size = destination.size();
    convert(m_toWide, source.data(), source.size(), m_unit, destination, source.size());
    return destination.size() - old_size;
}

std::size_t CTextLibIConv::AppendWCtoMB(const wstringEx& source, stringEx& destination) const {
    const CLockGuard guard(m_lock);
    const std::size_t old_size = destination.size();
    constexpr std::size_t CHARACTER = sizeof(wchar_t);
    convert(m_fromWide, source.data(), source.size() * CHARACTER, CHARACTER, destination,
            source.size() * CHARACTER);
    return destination.size() - old_size;
}

}  // namespace Orlo
