#include <zel/support/dicotomic.h>

namespace zel {

template struct ZelDicotomic<double, double>;

} // namespace zel
