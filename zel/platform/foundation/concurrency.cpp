#include <zel/engine/parallel.h>
#include <zel/platform/foundation/threads.h>

namespace zel {

void Queue::setConcurrency(int threads)
{
    engine::setConcurrency(threads);
}

} // namespace zel
