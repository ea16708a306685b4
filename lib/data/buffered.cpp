#include "orlo/data/buffered.h"

#include "strings/failure.h"

namespace Orlo {
namespace {

constexpr failure<ioExp> SINK_IS_FULL{{
    .code = io_code::sink_full,
    .head = "TDataSink::Write - the sink accepts no more bytes",
}};

}  // namespace

void full_sink::Raise() {
    SINK_IS_FULL.raise();
}

template class CBufferedSeekableSource<CSysFile>;
template class CBufferedSeekableSink<CSysFile>;

}  // namespace Orlo
