// CRC-32 (IEEE 802.3, reflected polynomial 0xEDB88320), the same value as zlib's crc32.
#pragma once

#include <ombrel/Export.h>

namespace Kivo {

class UnitTestRecorder;

class OMBREL_API Checksum {
  public:
    /// CRC-32 of `nbytes` bytes at `data`, continuing from `crc` (0 to start). Passing the
    /// result back as `crc` continues the checksum; `nbytes` of 0 returns `crc` unchanged.
    static unsigned int ComputeCRC32(int nbytes, const void* data, unsigned int crc);

    static bool UnitTest(UnitTestRecorder& recorder);
};

}  // namespace Kivo
