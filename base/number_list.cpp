#include "base/number_list.h"

#include <cstdlib>

namespace ovra {

// strtol and not sscanf: the same rules, number by number, at a tenth of the stack; the worker thread that
// reads the ranging frame has 8 KiB.
int parse_numbers(const char* text, char separator, std::int32_t* numbers, int capacity) {
    for (int count = 0; count < capacity; ++count) {
        if (count > 0 && separator != ' ' && *text++ != separator) return count;
        char* end = nullptr;
        const long value = std::strtol(text, &end, 10);
        if (end == text) return count;
        numbers[count] = static_cast<std::int32_t>(value);
        text = end;
    }
    return capacity;
}

}  // namespace ovra
