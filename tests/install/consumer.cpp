// A program written against the installed library only.
#include <ombrel/Ombrel.h>

#include <cstdio>

int main() {
    const char text[] = "This is a test";
    const unsigned crc = Kivo::Checksum::ComputeCRC32(14, text, 0);
    float* p = Kivo::KivoAllocReal32(16);
    const bool aligned = p && (reinterpret_cast<unsigned long>(p) % 32) == 0;
    Kivo::KivoDelete(p);
    // An exception thrown inside the library is caught here by its type.
    bool caught = false;
    try {
        Kivo::VecReal32 v(4);
        v.Div(0.0f);
    } catch (const Kivo::KivoException& e) {
        caught = e.code == 8001;
    }
    std::printf("ombrel %s crc=%08X aligned=%d caught=%d\n", Kivo::OmbrelVersion(), crc, aligned,
                caught);
    return (crc == 0xC07A9F32U && aligned && caught) ? 0 : 1;
}
