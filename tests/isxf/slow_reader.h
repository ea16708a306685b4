#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "orlo/isxf/reader.h"

// A reader that is slow and obvious and shares no table with the library, and the means to run any sequence of
// operations through both.

namespace isxf_check {

/// One operation of a reader.
struct operation {
    enum kind : std::uint8_t { get, get_into, drop_text, next_is, take, ignore, skip, peek, set_bound };
    static constexpr int kinds = 9;
    kind what;
    std::uint8_t tag = 0;      ///< of the item, where one is named
    std::uint64_t number = 0;  ///< the capacity, the bytes to skip, the bound
};

/// What came of an operation: the bytes of the value, or of the failure's text after "! " and its code.
using outcome = std::string;

template <class T>
outcome bytes_of(const T& value) {
    const std::size_t used = std::is_same_v<T, long double> ? 10 : sizeof value;
    return {reinterpret_cast<const char*>(&value), used};
}
template <class T>
outcome bytes_of(const Orlo::basic_buffer<T>& text) {
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(T)};
}

/// The obvious one.
class slow_reader {
public:
    slow_reader(std::string stream, std::int64_t with) : bound(with), stream_(std::move(stream)) {}

    outcome run(const operation& op) {
        try {
            switch (op.what) {
                case operation::get:
                case operation::get_into:
                case operation::drop_text:
                    return get(op);
                case operation::next_is:
                    return bytes_of(next() == op.tag || (next() == 0 && op.tag <= 12)) +
                           bytes_of(next() == op.tag || next() == 0);
                case operation::take:
                    return bytes_of(verify(op.tag));
                case operation::ignore: {
                    const std::uint32_t tag = next();
                    if (tag == 4 || (tag > 12 && tag < 128) || tag > 144)
                        throw failed(3, "CISXFReader::IgnoreNext - unknown data type\n  type = " + text(tag));
                    if (tag == 10 || tag == 11 || tag == 12) {
                        get({operation::drop_text, static_cast<std::uint8_t>(tag)});
                    } else if (tag == 0) {
                        peeked_ = -1;
                    } else {
                        get({operation::get, static_cast<std::uint8_t>(tag)});
                    }
                    return {};
                }
                case operation::skip:
                    charge(op.number);
                    read(op.number);
                    return {};
                case operation::peek:
                    return bytes_of(next());
                case operation::set_bound:
                    bound = static_cast<std::int64_t>(op.number);
                    return {};
            }
        } catch (const outcome& failure) {
            return failure;
        }
        return {};
    }

    std::int64_t bound;
    std::size_t position = 0;

private:
    static std::string text(std::int64_t number) { return std::to_string(number); }
    static outcome failed(int code, const std::string& what) { return "! " + text(code) + " " + what; }

    void charge(std::uint64_t size) {
        if (bound == INT64_MIN) return;
        __extension__ const __int128 rest = static_cast<__int128>(bound) - size;
        bound = rest < 0 ? 0 : static_cast<std::int64_t>(rest);
        if (rest >= 0) return;
        throw failed(2, "CISXFBasic::_CheckBound - buffer overflow\n  expected size = " +
                            std::to_string(size) + "\n  check bound   = " +
                            text(rest < INT64_MIN ? INT64_MIN : static_cast<std::int64_t>(rest)));
    }
    std::string read(std::uint64_t size) {
        const std::size_t got = std::min<std::uint64_t>(size, stream_.size() - position);
        position += got;
        return stream_.substr(position - got, got);
    }
    std::string number(std::size_t size) {
        if (size == 0) return {};
        charge(size);
        const std::string got = read(size);
        return got.size() < size ? std::string(size, '\0') : got;
    }
    std::uint32_t next() {
        if (peeked_ < 0) peeked_ = static_cast<unsigned char>(number(1)[0]);
        return static_cast<std::uint32_t>(peeked_);
    }
    bool verify(std::uint32_t expected) {
        const std::uint32_t tag = next();
        peeked_ = -1;
        if (tag == expected) return true;
        if (tag == 0) return false;
        throw failed(1, "CISXFReader::_GetAndVerifyType - wrong data type\n  expected = " + text(expected) +
                            "\n  real     = " + text(tag));
    }

    outcome get(const operation& op) {
        static const char* const void_texts[] = {
            "CtrlCode - control code can't be void",
            "SegNumber - segment number can't be void",
            "Enum - enumeration can't be void",
            "ID - identification can't be void",
            "Size - size can't be void",
            "BigSize - size can't be void",
            "Command - command code can't be void",
            "BigID - identification can't be void",
            "SmallID - small identification can't be void",
            "TinyID - tiny identification can't be void",
            "SmallEnum - small enumeration can't be void",
            "SmallVersion - version can't be void",
            "Version - version can't be void",
            "EofSegNumber - segment ending number can't be void",
            "BigSegNumber - big segment number can't be void",
            "EofBigSegNumber - big segment ending number can't be void",
            "CompactCommand - compact command code can't be void",
        };
        static const int value_sizes[] = {0, 1, 2, 4, 0, 8, 4, 8, 16, 0};
        static const int code_sizes[] = {1, 2, 4, 4, 4, 8, 4, 8, 2, 1, 1, 1, 2, 0, 4, 0, 2};

        const bool there = verify(op.tag);
        if (op.tag >= 128) {
            if (!there) throw failed(1, std::string("CISXFReader::Get") + void_texts[op.tag - 128]);
            return number(static_cast<std::size_t>(code_sizes[op.tag - 128]));
        }
        if (op.tag == 9) return bytes_of(there);
        if (op.tag < 9) {
            const auto size = static_cast<std::size_t>(value_sizes[op.tag]);
            const std::string value = there ? number(size) : std::string(size, '\0');
            return value.substr(0, op.tag == 8 ? 10 : size);
        }
        const std::size_t unit = op.tag == 11 ? 4 : 1;
        if (!there) return {};
        std::uint32_t length;
        std::memcpy(&length, number(4).data(), 4);
        charge(length);
        if (op.what == operation::get_into && length > op.number * unit) {
            const char* const names[] = {"String", "WString", "Blob"};
            throw failed(2, std::string("CISXFReader::Get") + names[op.tag - 10] +
                                " - overflow: buffer too small\n  requested size = " + text(length) +
                                "\n  user supplied  = " + std::to_string(op.number * unit));
        }
        const std::string got = read(length);
        return op.what == operation::drop_text ? outcome() : got.substr(0, got.size() / unit * unit);
    }

    std::string stream_;
    int peeked_ = -1;
};

/// The same operation of a real reader.
template <class Reader>
outcome run_real(Reader& reader, const operation& op) {
    const auto get = [](auto&& call) {
        if constexpr (std::is_void_v<decltype(call())>) {
            call();
            return outcome();
        } else {
            return bytes_of(call());
        }
    };
    try {
#define ORLO_GET(NAME, TAG, ...) \
    if (op.what == operation::get && op.tag == TAG) return get([&] { return reader.Get##NAME(); });
        ORLO_ISXF_NUMBERS(ORLO_GET)
        ORLO_ISXF_TEXTS(ORLO_GET)
        ORLO_ISXF_CODES(ORLO_GET)
        ORLO_ISXF_MARKS(ORLO_GET)
        ORLO_GET(Bool, 9)
#undef ORLO_GET
#define ORLO_GET(NAME, TAG, TYPE)                                                                       \
    if (op.what == operation::get_into && op.tag == TAG) {                                              \
        std::vector<TYPE::value_type> buffer(op.number);                                                \
        const std::size_t count = reader.Get##NAME(std::span(buffer));                                  \
        return {reinterpret_cast<const char*>(buffer.data()), count * sizeof(TYPE::value_type)};        \
    }                                                                                                   \
    if (op.what == operation::drop_text && op.tag == TAG) {                                             \
        const std::size_t count = reader.Get##NAME(static_cast<TYPE::value_type*>(nullptr), op.number); \
        return count == 0 ? outcome() : "a dropped text has no length";                                 \
    }
        ORLO_ISXF_TEXTS(ORLO_GET)
#undef ORLO_GET
#define ORLO_NEXT(NAME, TAG, ...)                       \
    if (op.what == operation::next_is && op.tag == TAG) \
        return bytes_of(reader.NextIs##NAME()) + bytes_of(reader.NextIs(TAG));
        ORLO_ISXF_NUMBERS(ORLO_NEXT)
        ORLO_ISXF_TEXTS(ORLO_NEXT)
        ORLO_ISXF_CODES(ORLO_NEXT)
        ORLO_ISXF_MARKS(ORLO_NEXT)
        ORLO_NEXT(Bool, 9)
        ORLO_NEXT(Void, 0)
#undef ORLO_NEXT
        switch (op.what) {
            case operation::take:
                return bytes_of(reader.TakeType(op.tag));
            case operation::ignore:
                reader.IgnoreNext();
                break;
            case operation::skip:
                reader.Skip(op.number);
                break;
            case operation::peek:
                return bytes_of(reader.PeekType());
            case operation::set_bound:
                reader.SetCheckBound(static_cast<std::int64_t>(op.number));
                break;
            default:
                return "no such item";
        }
    } catch (const Orlo::isxfExp& failure) {
        return "! " + std::to_string(failure.code()) + " " + std::string(failure.message().view());
    }
    return {};
}

/// A source that gives a few bytes a time and knows no size.
class dripping_source final : public Orlo::TDataSource {
public:
    explicit dripping_source(std::string stream) : stream_(std::move(stream)) {}
    bool IsOpen() const override { return true; }
    int GetKind() const override { return 0; }
    bool IsEof() override { return position == stream_.size(); }
    std::size_t Read(void* buffer, std::size_t size) override {
        const std::size_t got = std::min({size, stream_.size() - position, position % 7 + 1});
        std::memcpy(buffer, stream_.data() + position, got);
        position += got;
        return got;
    }
    std::size_t position = 0;

private:
    std::string stream_;
};

/// Runs the operations through the slow reader and `reader`, whose consumed bytes `consumed` tells. Returns
/// what differs first, or nothing.
template <class Reader, class Consumed>
std::string difference(const std::string& stream, std::int64_t bound,
                       const std::vector<operation>& operations, Reader& reader, Consumed consumed) {
    slow_reader slow(stream, bound);
    for (std::size_t i = 0; i < operations.size(); ++i) {
        const operation& op = operations[i];
        const outcome expected = slow.run(op);
        const outcome real = run_real(reader, op);
        const auto at = static_cast<std::size_t>(consumed());
        if (expected == real && reader.GetCheckBound() == slow.bound && at == slow.position) continue;
        return "operation " + std::to_string(i) + ", kind " + std::to_string(op.what) + ", tag " +
               std::to_string(op.tag) + "\nexpected " + expected + "\nreal     " + real + "\nbound " +
               std::to_string(reader.GetCheckBound()) + " for " + std::to_string(slow.bound) + ", position " +
               std::to_string(at) + " for " + std::to_string(slow.position);
    }
    return {};
}

/// The same over memory and over a source that gives a few bytes a time.
inline std::string difference(const std::string& stream, std::int64_t bound,
                              const std::vector<operation>& operations) {
    Orlo::byteEx bytes(reinterpret_cast<const unsigned char*>(stream.data()), stream.size());
    Orlo::CMemBuffer cursor(&bytes);
    Orlo::CISXFReader<Orlo::CMemBuffer> memory(cursor, bound);
    const std::string wrong =
        difference(stream, bound, operations, memory, [&] { return cursor.GetCurrentPos(); });
    if (!wrong.empty()) return "in memory: " + wrong;

    dripping_source source(stream);
    Orlo::CISXFReader<Orlo::TDataSource> dripping(source, bound);
    return difference(stream, bound, operations, dripping, [&] { return source.position; });
}

/// Operations by the bytes of a program, three for each.
inline std::vector<operation> operations_of(const std::string& program) {
    static const std::uint64_t numbers[] = {
        0, 1, 2, 3, 4, 5, 7, 8, 16, 100, 384, 385, 1000, INT64_MAX, std::uint64_t{1} << 63, UINT64_MAX};
    std::vector<operation> made;
    for (std::size_t i = 0; i + 3 <= program.size(); i += 3) {
        const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(program[i + at]); };
        operation op{static_cast<operation::kind>(byte(0) % operation::kinds)};
        const int item = byte(1) % 30;
        op.tag = static_cast<std::uint8_t>(item < 13 ? item : item + 115);
        op.number = numbers[byte(2) % std::size(numbers)];
        if (op.what == operation::get_into || op.what == operation::drop_text) {
            op.tag = static_cast<std::uint8_t>(10 + item % 3);
            op.number = std::min<std::uint64_t>(op.number, 1000);
        } else if (op.tag == 4 || (op.tag == 0 && op.what == operation::get)) {
            op.what = operation::take;
        }
        made.push_back(op);
    }
    return made;
}

}  // namespace isxf_check
