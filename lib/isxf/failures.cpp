#include "orlo/isxf/items.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr failure<isxfExp> BOUND_PASSED{{
    .code = isxf_code::overflow,
    .head = "CISXFBasic::_CheckBound - buffer overflow\n",
    .keys = {"  expected size = ", "  check bound   = "},
}};
constexpr failure<isxfExp> WRONG_TYPE{{
    .code = isxf_code::wrong_type,
    .head = "CISXFReader::_GetAndVerifyType - wrong data type\n",
    .keys = {"  expected = ", "  real     = "},
}};
constexpr failure<isxfExp> UNKNOWN_TYPE{{
    .code = isxf_code::unknown_type,
    .head = "CISXFReader::IgnoreNext - unknown data type\n",
    .keys = {"  type = "},
}};

constexpr failure<isxfExp> small_buffer_of(const char* head) {
    return {{
        .code = isxf_code::overflow,
        .head = head,
        .keys = {"  requested size = ", "  user supplied  = "},
    }};
}
#define ORLO_ISXF_ROW(NAME, TAG, TYPE) \
    constexpr auto NAME##_BUFFER =     \
        small_buffer_of("CISXFReader::Get" #NAME " - overflow: buffer too small\n");
ORLO_ISXF_TEXTS(ORLO_ISXF_ROW)
#undef ORLO_ISXF_ROW

}  // namespace

void isxf_failures::bound(std::uint64_t size, std::int64_t rest) {
    BOUND_PASSED.raise({size, rest});
}

void isxf_failures::wrong_type(std::uint32_t expected, std::uint32_t real) {
    WRONG_TYPE.raise({expected, real});
}

void isxf_failures::unknown_type(std::uint32_t tag) {
    UNKNOWN_TYPE.raise({tag});
}

void isxf_failures::void_item(const char* text) {
    failure<isxfExp>{{.code = isxf_code::wrong_type, .head = text}}.raise();
}

void isxf_failures::small_buffer(std::uint32_t tag, std::uint32_t requested, std::uint64_t supplied) {
    const auto& failed = tag == isxf_tag::Blob      ? Blob_BUFFER
                         : tag == isxf_tag::WString ? WString_BUFFER
                                                    : String_BUFFER;
    failed.raise({requested, supplied});
}

}  // namespace Orlo
