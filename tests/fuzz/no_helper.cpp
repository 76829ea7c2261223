// An ARP helper that touches nothing: the service's own would write to this machine's table.
extern "C" {
int ArpAdd(const char*, const char*, const char*, const unsigned char*, int, const char*);
int ArpRemove(const char*, const char*);

int ArpAdd(const char*, const char*, const char*, const unsigned char*, int, const char*) {
    return 0;
}
int ArpRemove(const char*, const char*) {
    return 0;
}
}
