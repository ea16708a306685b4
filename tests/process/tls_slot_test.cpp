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
    const faults::clean_slate slate;
    const auto use_up = [] { std::deque<CTlsSlot> slots(2000); };
    EXPECT_FAILURE(use_up(), tlsExp, 1,
                   system_text("CTlsSlot::CTlsSlot - error create TLS Slot\n", EAGAIN,
                               "no necessary resources or process limit reached"));
    pthread_key_t next = 0;
    pthread_key_create(&next, nullptr);
    pthread_key_delete(next);
    const auto take_away = [&](bool set) {
        CTlsSlot slot;  // has the number that was free
        pthread_key_delete(next);
        if (set) slot.SetValue(1);
    };
    constexpr auto release = "CTlsSlot::~CTlsSlot - error release TLS Slot\n";
    EXPECT_FAILURE(take_away(true), tlsExp, 3, "CTlsSlot::SetValue - error set TLS Slot");
    EXPECT_FAILURE(take_away(false), tlsExp, 1,
                   system_text(release, EINVAL, "the handle (key) value is invalid"));
    expect_faults<tlsExp>([] { CTlsSlot(); },
                          {{"pthread_key_delete", EIO, 1, release, "unknown system error"}});
}

}  // namespace
