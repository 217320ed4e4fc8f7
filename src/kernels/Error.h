// Throwing KivoException with its fixed message, the raising source unit and line.
//
// Every source file that throws defines KIVO_SOURCE_UNIT (its path under the repository without
// the extension, e.g. "src/math/Vector") before including this header.
#pragma once

#include <ombrel/math/KivoException.h>

#include <string>

namespace Kivo::kernels {

/// The fixed message of a code; codes outside the table get "unexpected software error" so a
/// code is never paired with a made-up text.
constexpr const char* ErrorMessage(int code) {
    switch (code) {
        case KIVO_MEMORY_ALLOC_ERROR:
            return "memory allocation error";
        case KIVO_DIVIDE_BY_ZERO_ERROR:
            return "divide-by-zero error";
        case KIVO_SINGULAR_MATRIX:
            return "singular matrix";
        case KIVO_INVALID_INPUT_PARAMETER:
            return "invalid input parameter";
        case KIVO_FILE_OPEN_ERROR:
            return "error opening file";
        case KIVO_FILE_READ_ERROR:
            return "error reading file";
        case KIVO_FILE_WRITE_ERROR:
            return "error writing file";
        case KIVO_FILE_VERSION_ERROR:
            return "file version error";
        case KIVO_FILE_TYPE_ERROR:
            return "file type error";
        case KIVO_FILE_CLOSE_ERROR:
            return "error closing file";
        case KIVO_MATLAB_ACCESS_ERROR:
            return "MATLAB access error";
        default:
            return "unexpected software error";
    }
}

constexpr KivoException MakeException(int code, const char* file, int line) {
    return KivoException{code, ErrorMessage(code), file, line};
}

/// Text form used wherever the library prints a caught exception:
/// "\nEXCEPTION: <message>, KivoErrorCode: <code>\nFile: <file>,  Line: <line>\n".
std::string FormatException(const KivoException& e);

}  // namespace Kivo::kernels

#define KIVO_THROW(code) throw ::Kivo::kernels::MakeException((code), KIVO_SOURCE_UNIT, __LINE__)
