// Streams of the C library: ownership, and one call an operation.
//
// Only reading is repeated when a signal interrupts it. A write that a signal interrupts has made the C
// library forget what it had buffered, so that repeating it would hide a loss; and a stream that `fclose`
// failed on is gone.

#include "orlo/files/c_file.h"

#include <cerrno>
#include <utility>

#include "orlo/strings/destructor_guard.h"
#include "strings/failure.h"
#include "strings/narrow_name.h"
#include "strings/system_call.h"

namespace Orlo {
namespace {

using cfile_failure = failure<cfileExp>;

/// What opening, closing and reading say.
constexpr cfile_failure stream_failure(std::int32_t code, const char* head) {
    return {{.code = code, .head = head, .keys = {"  system error no = ", "  system error is = "}}};
}
/// What putting characters, asking for the position and flushing say.
constexpr cfile_failure output_failure(std::int32_t code, const char* head) {
    return {{.code = code, .head = head, .keys = {"  system error no = ", "  system err desc = "}}};
}
constexpr cfile_failure seek_failure(const char* head) {
    return {{.code = cfile_code::seek,
             .head = head,
             .keys = {"  position        = ", "  system error no = ", "  system err desc = "}}};
}

constexpr cfile_failure OPEN_FAILED{{
    .code = cfile_code::open,
    .head = "CCFile::Open - failed open file\n",
    .keys = {"  file name       = ", "  opening mode    = ", "  system error no = ", "  system error is = "},
}};
constexpr auto CLOSE_FAILED = stream_failure(cfile_code::close, "CCFile::__Close - failed close file\n");
constexpr cfile_failure BUFFER_FAILED{{
    .code = cfile_code::buffer,
    .head = "CCFile::SetBufOption - failed set buffer\n",
    .keys = {"  mode            = ", "  buf size        = ", "  system error no = ", "  system error is = "},
}};
constexpr auto READ_FAILED = stream_failure(cfile_code::read, "CCFile::Read - failed reading file\n");
constexpr auto WRITE_FAILED = stream_failure(cfile_code::write, "CCFile::Write - error occur when writing\n");
constexpr auto GET_CHAR_FAILED = stream_failure(cfile_code::read, "CCFile::GetChar - failed getting char\n");
constexpr auto GET_TCHAR_FAILED =
    stream_failure(cfile_code::read, "CCFile::GetTChar - failed getting char\n");
constexpr auto GET_WCHAR_FAILED =
    stream_failure(cfile_code::read, "CCFile::GetWChar - failed getting char\n");
constexpr auto UNGET_CHAR_FAILED =
    output_failure(cfile_code::unget, "CCFile::UnGetChar - failed unget char\n");
constexpr auto UNGET_TCHAR_FAILED =
    output_failure(cfile_code::unget, "CCFile::UnGetTChar - failed unget char\n");
constexpr auto UNGET_WCHAR_FAILED =
    output_failure(cfile_code::unget, "CCFile::UnGetWChar - failed unget char\n");
constexpr auto PUT_CHAR_FAILED = output_failure(cfile_code::write, "CCFile::PutChar - failed putting char\n");
constexpr auto PUT_TCHAR_FAILED =
    output_failure(cfile_code::write, "CCFile::PutTChar - failed putting char\n");
constexpr auto PUT_WCHAR_FAILED =
    output_failure(cfile_code::write, "CCFile::PutWChar - failed putting char\n");
constexpr auto SEEK_BEGIN_FAILED = seek_failure("CCFile::SeekBegin - error occur when seeking\n");
constexpr auto SEEK_CURRENT_FAILED = seek_failure("CCFile::SeekCurrent - error occur when seeking\n");
constexpr auto SEEK_END_FAILED = seek_failure("CCFile::SeekEnd - error occur when seeking\n");
constexpr cfile_failure LARGE_SEEK_FAILED{{
    .code = cfile_code::seek,
    .head = "CCFile::LargeSeekBegin - failed set file position\n",
    .keys = {"  pos from begin of file = ", "  system error no        = ", "  system err desc        = "},
}};
constexpr auto POSITION_FAILED =
    output_failure(cfile_code::position, "CCFile::GetCurrentPos - failed get current position\n");
constexpr auto LARGE_POSITION_FAILED =
    output_failure(cfile_code::position, "CCFile::LargeGetCurrentPos - failed get current position\n");
constexpr auto FLUSH_FAILED = output_failure(cfile_code::flush, "CCFile::Flush - failed flush buffer\n");
constexpr auto IS_EOF_FAILED =
    stream_failure(cfile_code::read, "CCFile::IsEof - there is no stream to ask\n");
constexpr auto CLEAR_FAILED =
    stream_failure(cfile_code::read, "CCFile::ClearError - there is no stream to clear\n");

[[noreturn]] void raise(const cfile_failure& failed, int error) {
    failed.raise({error, strerror_text(error)});
}

/// The error of a call on the stream that answers other than 0 on failure; 0 if it succeeds. The C library
/// does not always tell why it fails.
template <class Call>
int error_of(std::FILE* stream, Call&& call) {
    if (stream == nullptr) return EBADF;
    errno = 0;
    if (call(stream) == 0) return 0;
    return errno != 0 ? errno : EINVAL;
}

template <class Call>
void run(std::FILE* stream, const cfile_failure& failed, Call&& call) {
    if (const int error = error_of(stream, std::forward<Call>(call)); error != 0) raise(failed, error);
}

/// Runs a reading call until it is done or fails other than by a signal. It answers whether it is done.
template <class Call>
void read_through(std::FILE* stream, const cfile_failure& failed, Call&& call) {
    const int error = error_of(stream, [&](std::FILE* file) {
        return retry_interrupted([&] {
            errno = 0;
            if (call(file)) return 0;
            if (errno == EINTR) std::clearerr(file);
            return -1;
        });
    });
    if (error != 0) raise(failed, error);
}

int get_char(std::FILE* stream, const cfile_failure& failed) {
    int c = EOF;
    read_through(stream, failed, [&](std::FILE* file) {
        c = std::fgetc(file);
        return c != EOF || std::ferror(file) == 0;
    });
    return c;
}

void seek(std::FILE* stream, const cfile_failure& failed, std::int64_t offset, int whence) {
    const int error = error_of(stream, [&](std::FILE* file) { return std::fseek(file, offset, whence); });
    if (error != 0) failed.raise({offset, error, strerror_text(error)});
}

/// `mode` with close-on-exec.
stringEx with_cloexec(const stringEx& mode) {
    stringEx with = mode.substr(0, 1);
    if (!mode.empty()) with.append('e');
    return with.append(mode.substr(1));
}

bool has_zero(const stringEx& text) {
    return text.view().find('\0') != std::string_view::npos;
}

/// Null on failure, with `errno` set.
std::FILE* open_stream(const stringEx& name, const stringEx& mode) {
    if (has_zero(name) || has_zero(mode)) {
        errno = EINVAL;
        return nullptr;
    }
    const stringEx path = name.terminated(), how = with_cloexec(mode).terminated();
    std::FILE* stream = nullptr;
    retry_interrupted([&] { return (stream = fopen64(path.c_str(), how.c_str())) != nullptr ? 0 : -1; });
    return stream;
}

}  // namespace

// --- ownership
// -----------------------------------------------------------------------------------------------

CCFile::CCFile(const CCFile& other) noexcept : m_stream(other.m_stream), m_owners(other.m_owners) {
    m_owners.share();
}

CCFile::CCFile(CCFile&& other) noexcept
    : m_stream(std::exchange(other.m_stream, nullptr)), m_owners(std::exchange(other.m_owners, {})) {}

CCFile& CCFile::operator=(const CCFile& other) {
    return *this = CCFile(other);
}

CCFile& CCFile::operator=(CCFile&& other) {
    CCFile taken(std::move(other));
    std::swap(m_stream, taken.m_stream);
    std::swap(m_owners, taken.m_owners);
    return *this;
}

CCFile::~CCFile() noexcept(false) {
    finish_in_destructor([this] { _GiveUp(); });
}

void CCFile::_GiveUp() {
    std::FILE* const stream = std::exchange(m_stream, nullptr);
    if (m_owners.release()) run(stream, CLOSE_FAILED, std::fclose);
}

void CCFile::Close() {
    _GiveUp();
}

void CCFile::Open(const stringEx& name, const stringEx& mode) {
    CCFile opened;
    opened.m_owners = shared_count::create();
    opened.m_stream = open_stream(name, mode);
    const int error = errno;
    if (!opened.IsOpen()) opened.m_owners.release();
    *this = std::move(opened);
    if (!IsOpen()) OPEN_FAILED.raise({name, mode, error, strerror_text(error)});
}

void CCFile::Open(const wstringEx& name, const wstringEx& mode) {
    Open(IMPL::NarrowName(name), IMPL::NarrowName(mode));
}

// --- reading and writing
// -------------------------------------------------------------------------------------

void CCFile::SetBufOption(int mode, std::size_t size, char* buffer) {
    const int error =
        error_of(m_stream, [&](std::FILE* file) { return std::setvbuf(file, buffer, mode, size); });
    if (error != 0) BUFFER_FAILED.raise({mode, std::uint64_t{size}, error, strerror_text(error)});
}

std::size_t CCFile::Read(void* buffer, std::size_t size) {
    std::size_t count = 0;
    read_through(m_stream, READ_FAILED, [&](std::FILE* file) {
        count += std::fread(static_cast<char*>(buffer) + count, 1, size - count, file);
        return count == size || std::ferror(file) == 0;
    });
    return count;
}

std::size_t CCFile::Write(const void* buffer, std::size_t size) {
    run(m_stream, WRITE_FAILED,
        [&](std::FILE* file) { return std::fwrite(buffer, 1, size, file) == size ? 0 : -1; });
    return size;
}

int CCFile::GetChar() {
    return get_char(m_stream, GET_CHAR_FAILED);
}

int CCFile::GetTChar() {
    return get_char(m_stream, GET_TCHAR_FAILED);
}

std::wint_t CCFile::GetWChar() {
    std::wint_t c = WEOF;
    read_through(m_stream, GET_WCHAR_FAILED, [&](std::FILE* file) {
        c = std::fgetwc(file);
        return c != WEOF || (errno == 0 && std::ferror(file) == 0 && std::feof(file) != 0);
    });
    return c;
}

void CCFile::UnGetChar(int c) {
    run(m_stream, UNGET_CHAR_FAILED, [&](std::FILE* file) { return std::ungetc(c, file) == EOF; });
}

void CCFile::UnGetTChar(int c) {
    run(m_stream, UNGET_TCHAR_FAILED, [&](std::FILE* file) { return std::ungetc(c, file) == EOF; });
}

void CCFile::UnGetWChar(std::wint_t c) {
    run(m_stream, UNGET_WCHAR_FAILED, [&](std::FILE* file) { return std::ungetwc(c, file) == WEOF; });
}

void CCFile::PutChar(int c) {
    run(m_stream, PUT_CHAR_FAILED, [&](std::FILE* file) { return std::fputc(c & 0xFF, file) == EOF; });
}

void CCFile::PutTChar(int c) {
    run(m_stream, PUT_TCHAR_FAILED, [&](std::FILE* file) { return std::fputc(c & 0xFF, file) == EOF; });
}

void CCFile::PutWChar(wchar_t c) {
    run(m_stream, PUT_WCHAR_FAILED, [&](std::FILE* file) { return std::fputwc(c, file) == WEOF; });
}

// --- the position
// --------------------------------------------------------------------------------------------

void CCFile::SeekBegin(std::int64_t offset) {
    seek(m_stream, SEEK_BEGIN_FAILED, offset, SEEK_SET);
}

void CCFile::SeekCurrent(std::int64_t offset) {
    seek(m_stream, SEEK_CURRENT_FAILED, offset, SEEK_CUR);
}

void CCFile::SeekEnd(std::int64_t offset) {
    seek(m_stream, SEEK_END_FAILED, offset, SEEK_END);
}

std::int64_t CCFile::GetCurrentPos() const {
    std::int64_t position = -1;
    run(m_stream, POSITION_FAILED,
        [&](std::FILE* file) { return (position = std::ftell(file)) == -1 ? -1 : 0; });
    return position;
}

void CCFile::LargeSeekBegin(std::int64_t offset) {
    fpos64_t position{};
    position.__pos = offset;
    const int error = error_of(m_stream, [&](std::FILE* file) { return fsetpos64(file, &position); });
    if (error != 0) LARGE_SEEK_FAILED.raise({offset, error, strerror_text(error)});
}

std::int64_t CCFile::LargeGetCurrentPos() const {
    fpos64_t position{};
    run(m_stream, LARGE_POSITION_FAILED, [&](std::FILE* file) { return fgetpos64(file, &position); });
    return position.__pos;
}

std::int64_t CCFile::GetSize() {
    const std::int64_t position = GetCurrentPos();
    SeekEnd(0);
    const std::int64_t size = GetCurrentPos();
    SeekBegin(position);
    return size;
}

void CCFile::Flush() {
    run(m_stream, FLUSH_FAILED, std::fflush);
}

bool CCFile::IsEof() const {
    bool is_end = false;
    run(m_stream, IS_EOF_FAILED, [&](std::FILE* file) {
        is_end = std::feof(file) != 0;
        return 0;
    });
    return is_end;
}

void CCFile::ClearError() {
    run(m_stream, CLEAR_FAILED, [](std::FILE* file) {
        std::clearerr(file);
        return 0;
    });
}

}  // namespace Orlo
