// The base of all converters, and how one is chosen.
//
//     asked for                       is given
//     UTF-8                           the built-in one; with "ISOC" ignored iconv, ICU, then the built-in one
//     the default encoding, and the   the C library's, unless "ISOC" is ignored
//       locale's encoding as well
//     any other                       iconv, then ICU, each unless it is ignored
//
// UTF-8 does not go by the C library: where the variables name a locale that the system does not have, it
// would know ASCII only.

#include "orlo/textconv/text_conv.h"

#include "strings/failure.h"
#include "textconv/defaults.h"
#include "textconv/encoding_table.h"
#include "textconv/one_time.h"
#include "textconv/simple_convs.h"
#include "textconv/text_lib_iconv.h"
#include "textconv/text_lib_icu.h"

namespace Orlo {
namespace {

using namespace IMPL;

constexpr failure<tconvExp> NO_CODE_PAGE = {{
    .code = tconv_code::failed,
    .head = "TTextConv::EncToCP - can't convert the encoding to codepage\n"
            "  corresponding mapping doesn't exist\n",
    .keys = {"  encoding name = "},
}};
constexpr failure<tconvExp> NO_ENCODING = {{
    .code = tconv_code::failed,
    .head = "TTextConv::CPToEnc - can't convert the codepage to encoding\n"
            "  corresponding mapping doesn't exist\n",
    .keys = {"  code page     = "},
}};
constexpr failure<tconvExp> NO_INFO = {{
    .code = tconv_code::failed,
    .head = "TTextConv::GetEncInfo - can't retrieve the encoding's infomation\n"
            "  encoding doesn't exist\n",
    .keys = {"  encoding name = "},
}};

#define ORLO_NO_CONVERTER_HEAD "TTextConv::Create - no converter for the encoding\n"
constexpr failure<tconvExp> NO_CONVERTER = {{
    .code = tconv_code::failed,
    .head = ORLO_NO_CONVERTER_HEAD,
    .keys = {"  encoding name = "},
}};
constexpr failure<tconvExp> NO_CONVERTER_BY_NUMBER = {{
    .code = tconv_code::failed,
    .head = ORLO_NO_CONVERTER_HEAD,
    .keys = {"  code page     = "},
}};

constinit built_once<shared_ptr<TTextConv>> the_default;

/// By a library; `key` is a name or a code page.
template <class Key>
shared_ptr<TTextConv> create_by_library(const Key& key, const failure<tconvExp>& no_converter) {
    const std::uint32_t ignored = ignored_back_ends();
    if ((ignored & ignore_iconv) == 0) {
        try {
            return shared_ptr<TTextConv>(new CTextLibIConv(key));
        } catch (const rootExp&) {
            if ((ignored & ignore_icu) != 0) throw;
        }
    }
    if ((ignored & ignore_icu) == 0) return shared_ptr<TTextConv>(new CTextLibIcu(key));
    no_converter.raise({key});
}

shared_ptr<TTextConv> create_utf8() {
    if ((ignored_back_ends() & ignore_isoc) == 0) return make_utf8_conv();
    try {
        return create_by_library("UTF-8"_lit, NO_CONVERTER);
    } catch (const rootExp&) {
        return make_utf8_conv();
    }
}

/// For an encoding that needs no library, empty for any other.
shared_ptr<TTextConv> create_without_library(const stringEx& encoding) {
    if (is_utf8(encoding)) return create_utf8();
    const bool by_locale = (ignored_back_ends() & ignore_isoc) == 0 &&
                           same_name(encoding, TTextConv::GetDefaultEncoding()) && locale_has(encoding);
    return by_locale ? make_iso_sys_def_conv() : shared_ptr<TTextConv>();
}

ENCODING_INFO info_of(const encoding_row& row) {
    return {stringEx::borrow(row.name), stringEx::borrow(row.description), row.code_page,
            row.right_to_left ? 1u : 0u};
}

}  // namespace

TTextConv::~TTextConv() noexcept(false) = default;

shared_ptr<TTextConv> TTextConv::CloneByCP(std::uint32_t) const {
    return Clone();
}

shared_ptr<TTextConv> TTextConv::Clone() const {
    return shared_ptr<TTextConv>::make();
}

shared_ptr<TTextConv> TTextConv::CloneByName(const stringEx&) const {
    return Clone();
}

std::size_t TTextConv::AppendMBtoWC(const stringEx& source, wstringEx& destination) const {
    destination.reserve_for_write(destination.size() + source.size() + 1);
    for (const char byte : source)
        destination.append(static_cast<wchar_t>(static_cast<unsigned char>(byte)));
    return source.size();
}

std::size_t TTextConv::AppendWCtoMB(const wstringEx& source, stringEx& destination) const {
    const std::size_t old_size = destination.size();
    destination.reserve_for_write(old_size + source.size() + 1);
    for (const wchar_t c : source) {
        if (c >= 0 && c <= 0xFF) destination.append(static_cast<char>(c));
    }
    return destination.size() - old_size;
}

stringEx TTextConv::GetEncName() const {
    return "ASCII"_lit;
}

std::uint32_t TTextConv::GetCodePage() const {
    return 437;
}

shared_ptr<TTextConv> TTextConv::Create(const stringEx& encoding) {
    const shared_ptr<TTextConv> made = create_without_library(encoding);
    return made ? made : create_by_library(encoding, NO_CONVERTER);
}

shared_ptr<TTextConv> TTextConv::Create(std::uint32_t codePage) {
    if (const encoding_row* const row = find_code_page(codePage)) {
        if (const auto made = create_without_library(stringEx::borrow(row->name))) return made;
    }
    return create_by_library(codePage, NO_CONVERTER_BY_NUMBER);
}

TTextConv& TTextConv::GetDefault() {
    return *the_default.get([] {
        try {
            return Create(GetDefaultEncoding());
        } catch (const rootExp&) {
            return shared_ptr<TTextConv>::make();
        }
    });
}

std::uint32_t TTextConv::EncToCP(const stringEx& encoding) {
    const encoding_row* const row = find_encoding(encoding);
    if (row == nullptr) NO_CODE_PAGE.raise({encoding});
    return row->code_page;
}

stringEx TTextConv::CPToEnc(std::uint32_t codePage) {
    const encoding_row* const row = find_code_page(codePage);
    if (row == nullptr) NO_ENCODING.raise({codePage});
    return stringEx::borrow(row->name);
}

ENCODING_INFO TTextConv::GetEncInfo(const stringEx& encoding) {
    const encoding_row* const row = find_encoding(encoding);
    if (row == nullptr) NO_INFO.raise({encoding});
    return info_of(*row);
}

std::vector<ENCODING_INFO> TTextConv::GetEncodings() {
    std::vector<ENCODING_INFO> all;
    for (const encoding_row& row : encoding_rows())
        all.push_back(info_of(row));
    return all;
}

}  // namespace Orlo
