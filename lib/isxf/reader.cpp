#include "orlo/isxf/reader.h"

namespace Orlo {

template class CISXFReader<TDataSource>;
template class CISXFReader<CSysFile>;
template class CISXFReader<CMemBuffer>;

}  // namespace Orlo
