// The smallest client: built by the tests against an installed Orlo.
#include <cstdint>
#include <iostream>

#include "orlo/strings/buffer.h"

int main() {
    Orlo::stringEx text("x = ");
    text.append_number(std::int64_t{42}, 10);
    std::cout << text << "\n";
}
