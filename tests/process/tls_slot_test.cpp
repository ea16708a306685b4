#include "orlo/process/tls_slot.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <deque>
#include <thread>

#include "support/expect_throw.h"
#include "support/faults.h"

namespace {

using namespace Orlo;
using namespace testing_support;

TEST(tls_slot, every_thread_has_its_own_value) {
    CTlsSlot slot;
    CTlsSlot other;
    EXPECT_EQ(slot.GetValue(), 0u);
    slot.SetValue(7);
    std::thread([&] {
        EXPECT_EQ(slot.GetValue(), 0u);
        slot.SetValue(~std::uintptr_t{0});
        EXPECT_EQ(slot.GetValue(), ~std::uintptr_t{0});
    }).join();
    EXPECT_EQ(slot.GetValue(), 7u);
    EXPECT_EQ(other.GetValue(), 0u);
}

TEST(tls_slot, the_process_runs_out_of_slots) {
    const auto make_too_many = [] {
        std::deque<CTlsSlot> slots;
        for (int i = 0; i < 2000; ++i)
            slots.emplace_back();
    };
    EXPECT_FAILURE(make_too_many(), tlsExp, 1,
                   "CTlsSlot::CTlsSlot - error create TLS Slot\n  error code = 11\n"
                   "  error desc = no necessary resources or process limit reached");
    CTlsSlot().SetValue(1);
}

TEST(tls_slot, a_slot_that_was_taken_away) {
    pthread_key_t next = 0;
    pthread_key_create(&next, nullptr);
    pthread_key_delete(next);
    const auto use_slot = [&](bool set) {
        CTlsSlot slot;  // has the number that was free
        pthread_key_delete(next);
        if (set) slot.SetValue(1);
    };
    EXPECT_FAILURE(use_slot(true), tlsExp, 3, "CTlsSlot::SetValue - error set TLS Slot");
    EXPECT_FAILURE(use_slot(false), tlsExp, 1,
                   "CTlsSlot::~CTlsSlot - error release TLS Slot\n  error code = 22\n"
                   "  error desc = the handle (key) value is invalid");
}

TEST(tls_slot, failures_of_the_system) {
    const faults::clean_slate slate;
    faults::fail_next("pthread_key_delete", EIO);
    EXPECT_FAILURE(CTlsSlot(), tlsExp, 1,
                   "CTlsSlot::~CTlsSlot - error release TLS Slot\n  error code = 5\n"
                   "  error desc = unknown system error");
}

}  // namespace
