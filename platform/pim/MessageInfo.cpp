#include "platform/pim/MessageInfo.h"

namespace Routing::Pim {

ROUTING_ENTITY_DEFINE("Routing::Pim::", MessageInfo, ROUTING_PIM_MESSAGE_INFO)

}  // namespace Routing::Pim
