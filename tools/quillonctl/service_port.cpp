#include "quillonctl/service_port.h"

#include "platform/linux/instance/service_names.h"

namespace quillonctl {

std::uint16_t ServicePort() {
    const auto service = LookUpServiceName("bootp", "udp");
    return service ? service->port : 67;
}

}  // namespace quillonctl
