// A library for the tests of loading one.
extern "C" int PlatformTestAnswer() {
    return 42;
}
