#include "orlo/isxf/writer.h"

namespace Orlo {

template class CISXFWriter<TDataSink>;
template class CISXFWriter<CBufferedSeekableSink<CSysFile>>;
template class CISXFWriter<CMemBuffer>;

}  // namespace Orlo
