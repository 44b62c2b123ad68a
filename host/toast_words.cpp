#include "host/toast_words.h"

#include "ovrafocus/result_codes.h"

namespace host {
namespace {

struct Toast {
    std::int32_t code;
    bool failure;
    const char* words;
};

constexpr Toast toasts[] = {
    {OVRA_TOAST_KEYSTONE_FAILED, true, "the keystone correction failed"},
    {OVRA_TOAST_LENS_FAILED, true, "the lens did not reach its place"},
    {OVRA_TOAST_RIGHT_LIMIT, false, "the lens is at its right limit"},
    {OVRA_TOAST_LEFT_LIMIT, false, "the lens is at its left limit"},
    {OVRA_TOAST_NO_DISTANCE, true, "the wall cannot be measured or is out of range: move the projector"},
    {OVRA_TOAST_BOTH_OFF, true, "auto-focus and auto-keystone are both switched off"},
    {OVRA_TOAST_FOCUS_OFF, true, "auto-focus is off, or the lens has not been calibrated"},
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
