"""bootptab for the tests: one set of option names, and the sections of the clients."""

from harness.bootp import section_name

OPTIONS = {
    "Subnet Mask": "1,ipaddress", "Gateways": "3,ipaddressarray", "Name Servers": "6,ipaddressarray",
    "Host Name": "12,string", "Lease Time": "51,time", "Boot File": "-1,string", "IP Address": "-2,ipaddress",
    "Hardware Type": "-4,byte", "File Alias": "-7,bool", "Always Broadcast": "-8,bool", "No Broadcast": "-9,bool",
    "Ignore Vendor": "-10,bool", "Arp Address": "-11,string", "Template": "-1000,string",
}


def section(name, keys):
    return f"[{name}]\n" + "".join(f"{key} = {value}\n" for key, value in keys.items())


def bootptab(clients, templates=None, aliases=None):
    """`clients`: hardware address to keys; `templates` and `aliases` as in the file."""
    parts = [section("Options", OPTIONS)]
    parts += [section(f"Template:{name}", keys) for name, keys in (templates or {}).items()]
    if aliases:
        parts.append(section("File Aliases", aliases))
    parts += [section(section_name(mac), keys) for mac, keys in clients.items()]
    return "\n".join(parts)
