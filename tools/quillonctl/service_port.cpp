#include "quillonctl/service_port.h"

#include "platform/posix/service_names.h"

namespace quillonctl {

std::uint16_t ServicePort() {
    const auto service = LookUpServiceName("bootp", "udp");
    return service ? service->port : 67;
}

}  // namespace quillonctl
