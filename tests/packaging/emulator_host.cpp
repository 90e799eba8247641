// A host application's test, which starts the service itself.

#include <Emulator.h>

int main() {
    return VarnelBase::Emulator().GetUrl().rfind("http://127.0.0.1:", 0) == 0 ? 0 : 1;
}
