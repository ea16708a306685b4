#include "orlo/process/tls_slot.h"

#include <cerrno>
#include <deque>
#include <thread>

#include "support/system_fault.h"

namespace {

using namespace Orlo;
using namespace testing_support;

TEST(tls_slot, every_thread_has_its_own_value) {
    CTlsSlot slot;
    slot.SetValue(7);
    std::thread([&] {
        EXPECT_EQ(slot.GetValue(), 0u);
        slot.SetValue(~std::uintptr_t{0});
        EXPECT_EQ(slot.GetValue(), ~std::uintptr_t{0});
    }).join();
    EXPECT_EQ(slot.GetValue(), 7u);
}

TEST(tls_slot, failures) {
    EXPECT_FAILURE(std::deque<CTlsSlot>(2000), tlsExp, 1,
                   system_text("CTlsSlot::CTlsSlot - error create TLS Slot\n", EAGAIN,
                               "no necessary resources or process limit reached"));
    pthread_key_t number = 0;
    pthread_key_create(&number, nullptr);
    pthread_key_delete(number);
    CTlsSlot slot;  // has the number that was free, until it is taken away
    pthread_key_delete(number);
    EXPECT_FAILURE(slot.SetValue(1), tlsExp, 3, "CTlsSlot::SetValue - error set TLS Slot");
    pthread_key_create(&number, nullptr);
    constexpr auto release = "CTlsSlot::~CTlsSlot - error release TLS Slot\n";
    expect_faults<tlsExp>([] { CTlsSlot(); },
                          {{"pthread_key_delete", EINVAL, 1, release, "the handle (key) value is invalid"},
                           {"pthread_key_delete", EIO, 1, release, "unknown system error"}});
}

}  // namespace
