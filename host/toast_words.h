// What the library's toast codes mean, in words for a person.
#ifndef OVRA_HOST_TOAST_WORDS_H
#define OVRA_HOST_TOAST_WORDS_H

#include <cstdint>

namespace host {

const char* toast_words(std::int32_t code);

/// True for the codes that tell of a request that could not be carried out as asked.
bool toast_is_failure(std::int32_t code);

}  // namespace host

#endif
