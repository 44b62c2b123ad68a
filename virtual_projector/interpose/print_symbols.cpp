// Entry points of the C library: printing. What the library under test prints on standard output is noted for
// the trace; all is printed by the C library as ever. Symbols only.
#undef _FORTIFY_SOURCE
#include <stdarg.h>
#include <stdio.h>

#include <string_view>

#include "virtual_projector/clock/reentrancy_guard.h"
#include "virtual_projector/interpose/log_lines.h"
#include "virtual_projector/interpose/machine.h"
#include "virtual_projector/interpose/real_calls.h"
#include "virtual_projector/interpose/watched_library.h"

namespace {

vp::real::Call<int(const char*, va_list)> real_vprintf{"vprintf"};
vp::real::Call<int(FILE*, const char*, va_list)> real_vfprintf{"vfprintf"};
vp::real::Call<int(const char*)> real_puts{"puts"};
vp::real::Call<int(int)> real_putchar{"putchar"};
vp::real::Call<int(int, FILE*)> real_putc{"putc"};
vp::real::Call<int(int, FILE*)> real_fputc{"fputc"};
vp::real::Call<int(const char*, FILE*)> real_fputs{"fputs"};
vp::real::Call<std::size_t(const void*, std::size_t, std::size_t, FILE*)> real_fwrite{"fwrite"};
vp::real::Call<int(int, const char*, va_list)> real_vprintf_chk{"__vprintf_chk"};
vp::real::Call<int(FILE*, int, const char*, va_list)> real_vfprintf_chk{"__vfprintf_chk"};

// True when what is printed there is to be noted. `caller` is a place in the code that prints.
[[gnu::noinline]] bool is_noted(const void* caller, FILE* stream) {
    const vp::WatchedLibrary* const library = vp::WatchedLibrary::loaded();
    if (library == nullptr || stream != stdout || !library->has_code_at(caller)) return false;
    const vp::Machine* const machine = vp::Machine::active();
    return machine != nullptr && machine->watches_library() && vp::current_log_lines() != nullptr;
}

// While something is noted. The stack that this needs is none of the program's use.
class Noting {
public:
    Noting() { machine_.threads().call_begins(); }
    ~Noting() { machine_.threads().call_ends(); }
    Noting(const Noting&) = delete;
    Noting& operator=(const Noting&) = delete;

    static vp::LogLines& lines() { return *vp::current_log_lines(); }

private:
    vp::Machine& machine_ = *vp::Machine::active();
    const vp::ReentrancyGuard guard_;
};

[[gnu::noinline]] void note(std::string_view text) {
    const Noting noting;
    Noting::lines().add(text);
}

void note_character(int character) {
    const char text = static_cast<char>(character);
    note({&text, 1});
}

[[gnu::noinline]] __attribute__((format(printf, 1, 0))) void note_formatted(const char* format,
                                                                            va_list arguments) {
    const Noting noting;
    va_list own;
    va_copy(own, arguments);
    Noting::lines().add_formatted(format, own);
    va_end(own);
}

}  // namespace

#define VP_CALLER __builtin_extract_return_addr(__builtin_return_address(0))

extern "C" {

// Asked for by name when a program is linked: the other names may be found elsewhere first.
extern const char vp_interposed_print_calls[];
const char vp_interposed_print_calls[] = "interposed calls of the virtual projector: print";

// Under names of their own here: the C library's header may have functions of theirs in place.
int printed_by_list(const char* format, va_list arguments) __asm__("vprintf");
int printed_character(int character) __asm__("putchar");

int printed_by_list(const char* format, va_list arguments) {
    if (is_noted(VP_CALLER, stdout)) note_formatted(format, arguments);
    return real_vprintf(format, arguments);
}

int printf(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    if (is_noted(VP_CALLER, stdout)) note_formatted(format, arguments);
    const int length = real_vprintf(format, arguments);
    va_end(arguments);
    return length;
}

int vfprintf(FILE* stream, const char* format, va_list arguments) {
    if (is_noted(VP_CALLER, stream)) note_formatted(format, arguments);
    return real_vfprintf(stream, format, arguments);
}

int fprintf(FILE* stream, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    if (is_noted(VP_CALLER, stream)) note_formatted(format, arguments);
    const int length = real_vfprintf(stream, format, arguments);
    va_end(arguments);
    return length;
}

int __vprintf_chk(int flag, const char* format, va_list arguments);
int __vprintf_chk(int flag, const char* format, va_list arguments) {
    if (is_noted(VP_CALLER, stdout)) note_formatted(format, arguments);
    return real_vprintf_chk(flag, format, arguments);
}

int __printf_chk(int flag, const char* format, ...);
int __printf_chk(int flag, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    if (is_noted(VP_CALLER, stdout)) note_formatted(format, arguments);
    const int length = real_vprintf_chk(flag, format, arguments);
    va_end(arguments);
    return length;
}

int __vfprintf_chk(FILE* stream, int flag, const char* format, va_list arguments);
int __vfprintf_chk(FILE* stream, int flag, const char* format, va_list arguments) {
    if (is_noted(VP_CALLER, stream)) note_formatted(format, arguments);
    return real_vfprintf_chk(stream, flag, format, arguments);
}

int __fprintf_chk(FILE* stream, int flag, const char* format, ...);
int __fprintf_chk(FILE* stream, int flag, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    if (is_noted(VP_CALLER, stream)) note_formatted(format, arguments);
    const int length = real_vfprintf_chk(stream, flag, format, arguments);
    va_end(arguments);
    return length;
}

int puts(const char* text) {
    if (is_noted(VP_CALLER, stdout)) {
        note(text);
        note("\n");
    }
    return real_puts(text);
}

int printed_character(int character) {
    if (is_noted(VP_CALLER, stdout)) note_character(character);
    return real_putchar(character);
}

int putc(int character, FILE* stream) {
    if (is_noted(VP_CALLER, stream)) note_character(character);
    return real_putc(character, stream);
}

int fputc(int character, FILE* stream) {
    if (is_noted(VP_CALLER, stream)) note_character(character);
    return real_fputc(character, stream);
}

int fputs(const char* text, FILE* stream) {
    if (is_noted(VP_CALLER, stream)) note(text);
    return real_fputs(text, stream);
}

std::size_t fwrite(const void* data, std::size_t size, std::size_t count, FILE* stream) {
    if (is_noted(VP_CALLER, stream)) note({static_cast<const char*>(data), size * count});
    return real_fwrite(data, size, count, stream);
}

}  // extern "C"
