#include "quillonctl/service_port.h"

#include <arpa/inet.h>
#include <netdb.h>

namespace quillonctl {

std::uint16_t ServicePort() {
    const servent* service = ::getservbyname("bootp", "udp");
    return service != nullptr ? ntohs(static_cast<std::uint16_t>(service->s_port)) : 67;
}

}  // namespace quillonctl
