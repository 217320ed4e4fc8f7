#include <ombrel/math/Memory.h>

#include "kernels/Allocator.h"

#include <sys/sysinfo.h>

#include <cstdio>
#include <cstring>

namespace Kivo {

float* KivoAllocReal32(int n) {
    return static_cast<float*>(kernels::AlignedAlloc(n, 4));
}
double* KivoAllocReal64(int n) {
    return static_cast<double*>(kernels::AlignedAlloc(n, 8));
}
Cplx32* KivoAllocCplx32(int n) {
    return static_cast<Cplx32*>(kernels::AlignedAlloc(n, 8));
}
Cplx64* KivoAllocCplx64(int n) {
    return static_cast<Cplx64*>(kernels::AlignedAlloc(n, 16));
}
short* KivoAllocInt16(int n) {
    return static_cast<short*>(kernels::AlignedAlloc(n, 2));
}
int* KivoAllocInt32(int n) {
    return static_cast<int*>(kernels::AlignedAlloc(n, 4));
}
unsigned char* KivoAllocUInt8(int n) {
    return static_cast<unsigned char*>(kernels::AlignedAlloc(n, 1));
}
char* KivoAllocByte(int n) {
    return static_cast<char*>(kernels::AlignedAlloc(n, 1));
}
unsigned char* KivoAllocBit(int n) {
    return KivoAllocUInt8(n);
}

void KivoDelete(void* p) {
    if (p) kernels::AlignedFree(p);
}

namespace {

// The machine's memory status in bytes, gathered for the report. Physical memory and swap come
// from sysinfo(2); the "virtual memory" pair is the user address space of the process and the
// part of it not yet mapped (VmSize from /proc/self/status).
struct MemoryStatusRecord {
    unsigned long length;
    unsigned long memoryLoad;
    unsigned long long totalPhys;
    unsigned long long availPhys;
    unsigned long long totalPageFile;
    unsigned long long availPageFile;
    unsigned long long totalVirtual;
    unsigned long long availVirtual;
};

unsigned long long MappedBytes() {
    unsigned long long kb = 0;
    if (FILE* f = std::fopen("/proc/self/status", "r")) {
        char line[256];
        while (std::fgets(line, sizeof line, f)) {
            if (std::strncmp(line, "VmSize:", 7) == 0) {
                std::sscanf(line + 7, "%llu", &kb);
                break;
            }
        }
        std::fclose(f);
    }
    return kb << 10;
}

MemoryStatusRecord QueryMemoryStatus() {
    MemoryStatusRecord m{};
    m.length = sizeof(MemoryStatusRecord);
    struct sysinfo si {};
    if (sysinfo(&si) == 0) {
        const unsigned long long unit = si.mem_unit ? si.mem_unit : 1;
        m.totalPhys = si.totalram * unit;
        m.availPhys = (si.freeram + si.bufferram) * unit;
        m.totalPageFile = si.totalswap * unit;
        m.availPageFile = si.freeswap * unit;
        if (m.totalPhys) m.memoryLoad = 100 - (m.availPhys * 100 / m.totalPhys);
    }
    // 47-bit user address space of x86-64 Linux (also the common aarch64 configuration).
    m.totalVirtual = 1ULL << 47;
    const unsigned long long mapped = MappedBytes();
    m.availVirtual = mapped < m.totalVirtual ? m.totalVirtual - mapped : 0;
    return m;
}

}  // namespace

void DumpKivoMemoryAllocError(int bytes, const char* note) {
    const MemoryStatusRecord m = QueryMemoryStatus();
    FILE* f = std::fopen("KivoMemoryAllocError.txt", "w");
    if (!f) return;  // best effort: the exception that follows is what the caller sees
    const char* k = "K";
    std::fprintf(f, "System tried to allocate %d bytes.\n", bytes);
    if (note) std::fprintf(f, "%s \n", note);
    std::fprintf(f, "The MemoryStatus structure is %ld bytes long.\n", static_cast<long>(m.length));
    std::fprintf(f, "It should be %d.\n", 32);
    std::fprintf(f, "%ld percent of memory is in use.\n", static_cast<long>(m.memoryLoad));
    std::fprintf(f, "There are %*ld total %sbytes of physical memory.\n", 7,
                 static_cast<long>(m.totalPhys >> 10), k);
    std::fprintf(f, "There are %*ld free %sbytes of physical memory.\n", 7,
                 static_cast<long>(m.availPhys >> 10), k);
    std::fprintf(f, "There are %*ld total %sbytes of paging file.\n", 7,
                 static_cast<long>(m.totalPageFile >> 10), k);
    std::fprintf(f, "There are %*ld free %sbytes of paging file.\n", 7,
                 static_cast<long>(m.availPageFile >> 10), k);
    std::fprintf(f, "There are %*lx total %sbytes of virtual memory.\n", 7,
                 static_cast<unsigned long>(m.totalVirtual >> 10), k);
    std::fprintf(f, "There are %*lx free %sbytes of virtual memory.\n", 7,
                 static_cast<unsigned long>(m.availVirtual >> 10), k);
    std::fclose(f);
}

}  // namespace Kivo
