#include "tests/platform/entity/SampleEntities.h"

namespace Routing::Sample {

ROUTING_ENTITY_DEFINE("Routing::Sample::", Port, SAMPLE_PORT)
ROUTING_ENTITY_DEFINE("Routing::Sample::", Router, SAMPLE_ROUTER)

}  // namespace Routing::Sample
