#include "kernels/Error.h"

namespace Kivo::kernels {

std::string FormatException(const KivoException& e) {
    std::string s = "\nEXCEPTION: ";
    s += e.message ? e.message : "";
    s += ", KivoErrorCode: ";
    s += std::to_string(e.code);
    s += "\nFile: ";
    s += e.file ? e.file : "";
    s += ",  Line: ";
    s += std::to_string(e.line);
    s += "\n";
    return s;
}

}  // namespace Kivo::kernels
