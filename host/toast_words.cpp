#include "host/toast_words.h"

namespace host {
namespace {

struct Toast {
    std::int32_t code;
    bool failure;
    const char* words;
};

constexpr Toast toasts[] = {
    {2, true, "the keystone correction failed"},
    {5, true, "the lens did not reach its place"},
    {6, false, "the lens is at its right limit"},
    {7, false, "the lens is at its left limit"},
    {9, true, "the wall cannot be measured or is out of range: move the projector"},
    {10, true, "auto-focus and auto-keystone are both switched off"},
    {11, true, "auto-focus is off, or the lens has not been calibrated"},
};

const Toast* find(std::int32_t code) {
    for (const Toast& toast : toasts) {
        if (toast.code == code) return &toast;
    }
    return nullptr;
}

}  // namespace

const char* toast_words(std::int32_t code) {
    const Toast* const toast = find(code);
    return toast == nullptr ? "a code this program does not know" : toast->words;
}

bool toast_is_failure(std::int32_t code) {
    const Toast* const toast = find(code);
    return toast != nullptr && toast->failure;
}

}  // namespace host
