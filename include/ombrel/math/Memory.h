// Aligned allocation of sample buffers and the memory-status report.
//
// Every sample buffer of the library comes from one of the KivoAlloc functions and goes back
// through KivoDelete. Buffers are aligned to 64 bytes (at least the 32 that callers may rely
// on), uninitialised, and a null pointer is the only sign of failure: the functions never
// throw. A count of zero or less, or one whose byte size overflows, also gives null.
#pragma once

#include <ombrel/Export.h>
#include <ombrel/math/Types.h>

namespace Kivo {

OMBREL_API float* KivoAllocReal32(int n);
OMBREL_API double* KivoAllocReal64(int n);
OMBREL_API Cplx32* KivoAllocCplx32(int n);
OMBREL_API Cplx64* KivoAllocCplx64(int n);
OMBREL_API short* KivoAllocInt16(int n);
OMBREL_API int* KivoAllocInt32(int n);
OMBREL_API unsigned char* KivoAllocUInt8(int n);
OMBREL_API char* KivoAllocByte(int n);
/// Takes its count in bytes, not bits, exactly like KivoAllocUInt8: the bit vector converts
/// a bit count to bytes before calling.
OMBREL_API unsigned char* KivoAllocBit(int n);

/// Releases a block from a KivoAlloc function; null is a no-op.
OMBREL_API void KivoDelete(void* p);

/// Writes "KivoMemoryAllocError.txt" in the current directory: the failed request in bytes,
/// the note (when not null) and the memory status of the machine. On Linux the physical
/// memory lines report RAM, the "paging file" lines report swap and the "virtual memory"
/// lines report the process address space (total and still unmapped). Best effort: it
/// neither checks that the file opened nor throws.
OMBREL_API void DumpKivoMemoryAllocError(int bytes, const char* note);

}  // namespace Kivo
