#include "embedded_host/CallScope.h"

namespace embedded_host
{
const CallScope*& CallScope::Present()
{
    static thread_local const CallScope* present = nullptr;
    return present;
}
} // namespace embedded_host
