#pragma once

#include <algorithm>
#include <cstring>
#include <string_view>

#include "orlo/data/data_object.h"

namespace Orlo::testing_support {

/// A source over a text, which fails the test when it is read in another order than promised: the end is
/// asked for before each read, and nothing is read after the end.
class block_source final : public TDataSource {
public:
    explicit block_source(std::string_view text) : text_(text) {}

    bool IsOpen() const override { return true; }
    int GetKind() const override { return 99; }
    bool IsEof() override {
        asked_ = true;
        return text_.empty();
    }
    std::size_t Read(void* buffer, std::size_t size) override {
        ordered = ordered && asked_ && !text_.empty();
        asked_ = false;
        const std::size_t got = std::min(size, text_.size());
        std::memcpy(buffer, text_.data(), got);
        text_.remove_prefix(got);
        ++reads;
        return got;
    }

    int reads = 0;
    bool ordered = true;

private:
    std::string_view text_;
    bool asked_ = false;
};

}  // namespace Orlo::testing_support
