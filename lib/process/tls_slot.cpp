#include "orlo/process/tls_slot.h"

#include <cerrno>

#include "orlo/strings/destructor_guard.h"
#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr errno_sentence CREATE_SENTENCES[] = {
    {ENOMEM, "insufficient memory"},
    {EAGAIN, "no necessary resources or process limit reached"},
};
constexpr failure<tlsExp> CREATE_FAILED = {{
    .code = tls_code::slot,
    .head = "CTlsSlot::CTlsSlot - error create TLS Slot\n",
    .keys = {"  error code = ", "  error desc = "},
    .sentences = CREATE_SENTENCES,
    .other_sentence = "unknown system error",
}};
constexpr errno_sentence RELEASE_SENTENCES[] = {{EINVAL, "the handle (key) value is invalid"}};
constexpr failure<tlsExp> RELEASE_FAILED = {{
    .code = tls_code::slot,
    .head = "CTlsSlot::~CTlsSlot - error release TLS Slot\n",
    .keys = {"  error code = ", "  error desc = "},
    .sentences = RELEASE_SENTENCES,
    .other_sentence = "unknown system error",
}};
constexpr failure<tlsExp> SET_FAILED = {
    {.code = tls_code::set, .head = "CTlsSlot::SetValue - error set TLS Slot"}};

}  // namespace

CTlsSlot::CTlsSlot() {
    if (const int error = pthread_key_create(&m_key, nullptr)) CREATE_FAILED.raise({system_error{error}});
}

CTlsSlot::~CTlsSlot() noexcept(false) {
    finish_in_destructor([this] {
        if (const int error = pthread_key_delete(m_key)) RELEASE_FAILED.raise({system_error{error}});
    });
}

std::uintptr_t CTlsSlot::GetValue() const noexcept {
    return reinterpret_cast<std::uintptr_t>(pthread_getspecific(m_key));
}

void CTlsSlot::SetValue(std::uintptr_t value) {
    if (pthread_setspecific(m_key, reinterpret_cast<void*>(value)) != 0) SET_FAILED.raise();
}

}  // namespace Orlo
