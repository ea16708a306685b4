#pragma once

#include "orlo/textconv/text_conv.h"

namespace Orlo::IMPL {

/// The converter by the C library's locale, which has the default encoding: the one that is asked for must be
/// the locale's own (`locale_has`).
shared_ptr<TTextConv> make_iso_sys_def_conv();
/// True if the locale's encoding is this one.
bool locale_has(const stringEx& encoding);

/// The built-in converter for UTF-8.
shared_ptr<TTextConv> make_utf8_conv();

}  // namespace Orlo::IMPL
