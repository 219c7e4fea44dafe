#include "lighting_common/internal/Diagnostics.h"

namespace diagnostics
{
// The name stands here as text because the order in which sources are initialised is not given; it
// is the one in names::LOGGER.
const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("lighting_nl"));
} // namespace diagnostics
