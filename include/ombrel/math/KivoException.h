// The library's one exception type and its error codes.
#pragma once

#include <ombrel/Export.h>

namespace Kivo {

/// Error codes. Each code is always paired with the same fixed message:
///
/// | code | message                     |
/// |------|-----------------------------|
/// | 8000 | "memory allocation error"   |
/// | 8001 | "divide-by-zero error"      |
/// | 8004 | "singular matrix"           |
/// | 8005 | "invalid input parameter"   |
/// | 8024 | "error opening file"        |
/// | 8025 | "error reading file"        |
/// | 8026 | "error writing file"        |
/// | 8027 | "file version error"        |
/// | 8028 | "file type error"           |
/// | 8029 | "error closing file"        |
/// | 8035 | "MATLAB access error"       |
/// | 8036 | "unexpected software error" |
///
/// 0 is success (returned, never thrown); 8037 is returned by the spline interpolation when
/// its fit fails and is never thrown. No other code is used.
enum KivoErrorCodeTag {
    KIVO_SUCCESS = 0,
    KIVO_MEMORY_ALLOC_ERROR = 8000,
    KIVO_DIVIDE_BY_ZERO_ERROR = 8001,
    KIVO_SINGULAR_MATRIX = 8004,
    KIVO_INVALID_INPUT_PARAMETER = 8005,
    KIVO_FILE_OPEN_ERROR = 8024,
    KIVO_FILE_READ_ERROR = 8025,
    KIVO_FILE_WRITE_ERROR = 8026,
    KIVO_FILE_VERSION_ERROR = 8027,
    KIVO_FILE_TYPE_ERROR = 8028,
    KIVO_FILE_CLOSE_ERROR = 8029,
    KIVO_MATLAB_ACCESS_ERROR = 8035,
    KIVO_UNEXPECTED_SOFTWARE_ERROR = 8036,
    KIVO_SPLINE_FIT_ERROR = 8037
};

/// What every failure of the library throws, by value. A plain record of four fields, copied
/// bitwise; the two texts are static literals that the exception does not own.
class OMBREL_API KivoException {
  public:
    int code;             ///< a KivoErrorCodeTag value
    const char* message;  ///< the fixed message of the code
    const char* file;     ///< source unit that raised it, e.g. "src/math/Vector"
    int line;             ///< source line of the raising statement
};

}  // namespace Kivo
