// A program written against the installed library only.
#include <ombrel/Ombrel.h>

#include <cstdio>

int main() {
    const char text[] = "This is a test";
    const unsigned crc = Kivo::Checksum::ComputeCRC32(14, text, 0);
    float* p = Kivo::KivoAllocReal32(16);
    const bool aligned = p && (reinterpret_cast<unsigned long>(p) % 32) == 0;
    Kivo::KivoDelete(p);
    bool caught = false;
    try {
        throw Kivo::KivoException{8001, "divide-by-zero error", "consumer", 1};
    } catch (const Kivo::KivoException& e) {
        caught = e.code == 8001;
    }
    std::printf("ombrel %s crc=%08X aligned=%d caught=%d\n", Kivo::OmbrelVersion(), crc, aligned,
                caught);
    return (crc == 0xC07A9F32U && aligned && caught) ? 0 : 1;
}
