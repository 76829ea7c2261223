#include "database/vendor_fitting.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "database/option_list.h"

VendorFit FitVendorOptions(BYTE* options, const BYTE* end, const ClientEntry* entry) {
    if (end < options || FindOption({options, end}, TagMessageType)) return VendorFit::DhcpShaped;
    const std::ptrdiff_t size = std::min<std::ptrdiff_t>(entry->templateCapacity, end - options);
    std::memcpy(options, Options(&entry->packet), static_cast<std::size_t>(size));
    return VendorFit::PlainBootp;
}
