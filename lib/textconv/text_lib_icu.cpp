// Conversion by ICU, which knows UTF-16 and not wide text: every conversion goes through a buffer of it. ICU
// is asked for the size first, as its lengths are 32 bits and it grows nothing itself.

#include "textconv/text_lib_icu.h"

#include <limits>
#include <memory>

#include "orlo/threads/lock_guard.h"
#include "strings/failure.h"
#include "textconv/encoding_table.h"
#include "textconv/utf16.h"

namespace Orlo {
namespace {

using namespace IMPL;
using error_code = icu_api::error_code;

constexpr failure<libicuExp> EARLY_FAULT = {
    {.code = libicu_code::load, .head = "CTextLibIcu::__AddRef - libicu could not be loaded (early fault)"}};

#define ORLO_OPEN_HEAD "CTextLibIcu::CTextLibIcu - failed init encoding convertion\n"
constexpr failure<libicuExp> OPEN_FAILED = {{
    .code = libicu_code::open,
    .head = ORLO_OPEN_HEAD,
    .keys = {"  encoding name = ", "  error number  = ", "  error desc    = "},
}};
constexpr failure<libicuExp> OPEN_BY_NUMBER_FAILED = {{
    .code = libicu_code::open,
    .head = ORLO_OPEN_HEAD,
    .keys = {"  code page     = ", "  error number  = ", "  error desc    = "},
}};

constexpr failure<libicuExp> convert_failure(const char* head) {
    return {
        {.code = libicu_code::convert, .head = head, .keys = {"  error number  = ", "  error desc    = "}}};
}
constexpr auto TO_WIDE_SIZE_FAILED =
    convert_failure("CTextLibIcu::AppendMBtoWC - failed retrive dest size\n");
constexpr auto TO_WIDE_FAILED = convert_failure("CTextLibIcu::AppendMBtoWC - failed converting string\n");
constexpr auto FROM_WIDE_SIZE_FAILED = convert_failure("CTextLibIcu::WCtoMB - failed retrive dest size\n");
constexpr auto FROM_WIDE_FAILED = convert_failure("CTextLibIcu::MBtoWC - failed converting string\n");

constexpr std::size_t LONGEST_NAME = 64;
/// Lengths are 32 bits with a sign, and a character may become four units and more.
constexpr std::size_t LONGEST_TEXT = std::numeric_limits<std::int32_t>::max() / 4;

const icu_api& icu() noexcept {
    return icu_library().Functions();
}

/// The converter, or null and an error. The empty name would be that of ICU's own default.
icu_converter* open(const stringEx& name, error_code& error) {
    constexpr error_code illegal_argument = 1;
    error = illegal_argument;
    if (name.empty() || name.size() > LONGEST_NAME || name.view().find('\0') != std::string_view::npos)
        return nullptr;
    error = 0;
    icu_converter* const made = icu().open(name.terminated().c_str(), &error);
    if (!icu_api::is_failure(error)) return made;
    if (made != nullptr) icu().close(made);
    return nullptr;
}

[[noreturn]] void raise_convert(const failure<libicuExp>& failed, error_code error) {
    failed.raise({error, icu().error_name(error)});
}

/// Runs one of ICU's two conversions, first for the size and then for the text, which goes to the room for as
/// many units that `make_room` gives. Returns the size.
template <class From, class To, class MakeRoom>
std::size_t convert(std::int32_t (*function)(icu_converter*, To*, std::int32_t, const From*, std::int32_t,
                                             error_code*),
                    icu_converter* converter, std::basic_string_view<From> text, MakeRoom make_room,
                    const failure<libicuExp>& size_failed, const failure<libicuExp>& failed) {
    if (text.size() > LONGEST_TEXT) raise_convert(size_failed, icu_api::index_out_of_bounds);
    const auto length = static_cast<std::int32_t>(text.size());
    error_code error = 0;
    const std::int32_t size = function(converter, nullptr, 0, text.data(), length, &error);
    if (icu_api::is_failure(error) && error != icu_api::buffer_overflow) raise_convert(size_failed, error);
    if (size == 0) return 0;
    error = 0;
    function(converter, make_room(static_cast<std::size_t>(size)), size, text.data(), length, &error);
    if (icu_api::is_failure(error)) raise_convert(failed, error);
    return static_cast<std::size_t>(size);
}

/// ICU's name for a code page.
stringEx windows_name(std::uint32_t code_page) {
    stringEx name("windows-");
    name.append_number(std::uint64_t{code_page});
    return name;
}

/// The table's name, or else ICU's.
stringEx name_of(std::uint32_t code_page) {
    const encoding_row* const row = find_code_page(code_page);
    return row != nullptr ? stringEx::borrow(row->name) : windows_name(code_page);
}

using units = std::unique_ptr<char16_t[]>;

}  // namespace

CTextLibIcu::CTextLibIcu(const stringEx& encoding)
    : CNamedConv(encoding), m_library(icu_library(), EARLY_FAULT) {
    const encoding_row* const row = find_encoding(encoding);
    error_code error = 0;
    m_converter = open(row != nullptr ? stringEx::borrow(row->known_to_icu()) : encoding, error);
    if (m_converter == nullptr) OPEN_FAILED.raise({encoding, error, icu().error_name(error)});
}

CTextLibIcu::CTextLibIcu(std::uint32_t codePage)
    : CNamedConv(name_of(codePage)), m_library(icu_library(), EARLY_FAULT) {
    error_code error = 0;
    m_converter = open(windows_name(codePage), error);
    const encoding_row* const row = find_code_page(codePage);
    if (m_converter == nullptr && row != nullptr)
        m_converter = open(stringEx::borrow(row->known_to_icu()), error);
    if (m_converter == nullptr) OPEN_BY_NUMBER_FAILED.raise({codePage, error, icu().error_name(error)});
}

CTextLibIcu::~CTextLibIcu() noexcept(false) {
    icu().close(m_converter);
}

std::size_t CTextLibIcu::AppendMBtoWC(const stringEx& source, wstringEx& destination) const {
    units made;
    std::size_t size = 0;
    {
        const CLockGuard guard(m_lock);
        size = convert(
            icu().to_units, m_converter, source.view(),
            [&made](std::size_t count) {
                made.reset(new char16_t[count]);
                return made.get();
            },
            TO_WIDE_SIZE_FAILED, TO_WIDE_FAILED);
    }
    const std::size_t old_size = destination.size();
    append_utf16_as_wide(
        size, [&made](std::size_t i) { return made[i]; }, destination);
    return destination.size() - old_size;
}

std::size_t CTextLibIcu::AppendWCtoMB(const wstringEx& source, stringEx& destination) const {
    if (source.size() > LONGEST_TEXT) raise_convert(FROM_WIDE_SIZE_FAILED, icu_api::index_out_of_bounds);
    const units text(new char16_t[2 * source.size()]);
    std::size_t count = 0;
    for (const wchar_t c : source)
        count += write_utf16(c, text.get() + count);
    const CLockGuard guard(m_lock);
    const std::size_t size = convert(
        icu().from_units, m_converter, std::u16string_view(text.get(), count),
        [&destination](std::size_t room) {
            destination.reserve_for_write(destination.size() + room + 1);
            return destination.mutable_data() + destination.size();
        },
        FROM_WIDE_SIZE_FAILED, FROM_WIDE_FAILED);
    if (size != 0) destination.set_size(destination.size() + size);
    return size;
}

}  // namespace Orlo
