#pragma once

// The library is built with hidden visibility: what ORLO_API marks is what a shared library exports.
//
// It stands on public classes with members that are defined in the library, on exceptions (so that they are
// caught across the library's edge), on public functions and on explicit instantiations. Classes that live
// in headers alone need none.

#define ORLO_API __attribute__((visibility("default")))
