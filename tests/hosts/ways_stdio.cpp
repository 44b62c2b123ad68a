// The C library's and C++'s streams on descriptors that make them wait.
#include <fcntl.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <fstream>
#include <iostream>
#include <string>

#include "tests/hosts/ways.h"

namespace {

using namespace ways;

// A stream to read from, and the other end of its pipe.
struct Input {
    Input() : stream(fdopen(pipe.in.release(), "r")) { check(stream != nullptr, "no stream"); }
    ~Input() { fclose(stream); }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;
    Pipe pipe;
    FILE* stream;
};

template <typename Read>
void stream_waits(const char* call, Read read_some) {
    Input input;
    const Later writer([&] {
        put(input.pipe.out, "12 words\n");
        input.pipe.out.close_now();
    });
    takes_the_wait(call,
                   [&] { check(read_some(input.stream), std::string(call) + " brought something else"); });
}

// Standard input is a pipe of the program's own.
class OwnStandardInput {
public:
    OwnStandardInput() : before_(dup(STDIN_FILENO)) {
        worked("dup2", dup2(pipe.in, STDIN_FILENO));
        clearerr(stdin);
    }
    ~OwnStandardInput() { dup2(before_, STDIN_FILENO); }
    OwnStandardInput(const OwnStandardInput&) = delete;
    OwnStandardInput& operator=(const OwnStandardInput&) = delete;
    Pipe pipe;

private:
    Descriptor before_;
};

}  // namespace

WAY(stdio_fgets) {
    stream_waits("fgets", [](FILE* stream) {
        char line[64];
        return fgets(line, sizeof line, stream) != nullptr && strcmp(line, "12 words\n") == 0;
    });
}

WAY(stdio_fread) {
    stream_waits("fread", [](FILE* stream) {
        char bytes[9];
        return fread(bytes, 1, sizeof bytes, stream) == sizeof bytes;
    });
}

WAY(stdio_getline) {
    stream_waits("getline", [](FILE* stream) {
        char* line = nullptr;
        std::size_t size = 0;
        const bool good = getline(&line, &size, stream) == 9;
        free(line);
        return good;
    });
}

WAY(stdio_getdelim) {
    stream_waits("getdelim", [](FILE* stream) {
        char* word = nullptr;
        std::size_t size = 0;
        const bool good = getdelim(&word, &size, ' ', stream) == 3;
        free(word);
        return good;
    });
}

WAY(stdio_getc) {
    stream_waits("getc", [](FILE* stream) { return getc(stream) == '1'; });
}

WAY(stdio_fgetc) {
    stream_waits("fgetc", [](FILE* stream) { return fgetc(stream) == '1'; });
}

WAY(stdio_getc_unlocked) {
    stream_waits("getc_unlocked", [](FILE* stream) { return getc_unlocked(stream) == '1'; });
}

WAY(stdio_fscanf) {
    stream_waits("fscanf", [](FILE* stream) {
        int number = 0;
        char word[16];
        return fscanf(stream, "%d %15s", &number, word) == 2 && number == 12;
    });
}

WAY(stdio_fgetwc) {
    stream_waits("fgetwc", [](FILE* stream) { return fgetwc(stream) == L'1' && getwc(stream) == L'2'; });
}

WAY(stdio_unbuffered) {
    Input input;
    setvbuf(input.stream, nullptr, _IONBF, 0);
    const Later writer([&] { put(input.pipe.out, "x"); });
    takes_the_wait("getc", [&] { same("getc", getc(input.stream), 'x'); });
}

WAY(stdio_setbuf) {
    stream_waits("getc", [](FILE* stream) {
        setbuf(stream, nullptr);
        return getc(stream) == '1';
    });
}

WAY(stdio_fputs_to_full_pipe) {
    Pipe pipe;
    fill(pipe.out);
    FILE* const stream = fdopen(pipe.out.release(), "w");
    const Later reader([&] { check(drain(pipe.in) > 0, "nothing to read"); });
    takes_the_wait("fflush", [&] {
        check(fputs("hello\n", stream) >= 0, "fputs failed");
        same("fflush", fflush(stream), 0);
    });
    fclose(stream);
}

WAY(stdio_fclose_writes_the_rest) {
    Pipe pipe;
    fill(pipe.out);
    FILE* const stream = fdopen(pipe.out.release(), "w");
    const Later reader([&] { check(drain(pipe.in) > 0, "nothing to read"); });
    fputs("hello\n", stream);
    takes_the_wait("fclose", [&] { same("fclose", fclose(stream), 0); });
}

// One thread waits in a read and holds the stream's lock; another wants the stream.
WAY(stdio_stream_locked_by_another, Kind::busy) {
    Input input;
    Later holder(0, [&] {
        flockfile(input.stream);
        sleep_ns(wait_ns());
        funlockfile(input.stream);
    });
    sleep_ns(wait_ns() / 3);
    const Stopwatch watch;
    put(input.pipe.out, "x");
    same("getc", getc(input.stream), 'x');
    expect_at_least("getc", watch.elapsed(), wait_ns() - wait_ns() / 3);
}

WAY(stdio_printf_while_another_holds_the_stream, Kind::busy) {
    Folder folder;
    FILE* const stream = fopen(folder.file("out").c_str(), "w");
    Later holder(0, [&] {
        flockfile(stream);
        sleep_ns(wait_ns());
        funlockfile(stream);
    });
    sleep_ns(wait_ns() / 3);
    const Stopwatch watch;
    same("fprintf", fprintf(stream, "%d\n", 12), 3);
    expect_at_least("fprintf", watch.elapsed(), wait_ns() - wait_ns() / 3);
    holder.join();
    fclose(stream);
}

WAY(stdin_fgets) {
    const OwnStandardInput input;
    const Later writer([&] { put(input.pipe.out, "hello\n"); });
    char line[16];
    takes_the_wait("fgets", [&] { check(fgets(line, sizeof line, stdin) != nullptr, "no line"); });
}

WAY(stdin_scanf) {
    const OwnStandardInput input;
    const Later writer([&] { put(input.pipe.out, "12\n"); });
    int number = 0;
    takes_the_wait("scanf", [&] { same("scanf", scanf("%d", &number), 1); });
    same("the number", number, 12);
}

WAY(stdin_getchar) {
    const OwnStandardInput input;
    const Later writer([&] { put(input.pipe.out, "x"); });
    takes_the_wait("getchar", [&] { same("getchar", getchar(), 'x'); });
}

WAY(stdin_cin) {
    const OwnStandardInput input;
    const Later writer([&] { put(input.pipe.out, "12\n"); });
    int number = 0;
    takes_the_wait("cin", [&] { std::cin >> number; });
    same("the number", number, 12);
}

WAY(stdin_cin_getline) {
    std::ios::sync_with_stdio(false);
    const OwnStandardInput input;
    const Later writer([&] { put(input.pipe.out, "hello\n"); });
    std::string line;
    takes_the_wait("getline", [&] { std::getline(std::cin, line); });
    check(line == "hello", "another line has come");
}

WAY(stream_of_a_fifo) {
    const Pipe pipe;
    std::ifstream stream("/proc/self/fd/" + std::to_string(pipe.in));
    const Later writer([&] { put(pipe.out, "hello\n"); });
    std::string line;
    takes_the_wait("getline", [&] { std::getline(stream, line); });
    check(line == "hello", "another line has come");
}

WAY(stdio_ungetc) {
    stream_waits("getc", [](FILE* stream) {
        const int first = getc(stream);
        const bool back = ungetc('7', stream) == '7' && getc(stream) == '7';
        return first == '1' && back && getc(stream) == '2' && fileno_unlocked(stream) == fileno(stream);
    });
}

namespace {

// By printf's kin that take their arguments as a list.
int print_list(FILE* stream, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = stream == stdout ? vprintf(format, arguments) : vfprintf(stream, format, arguments);
    va_end(arguments);
    return length;
}

// What `print` leaves in a file that stands in for standard output.
template <typename Print>
std::string printed(Print print) {
    Folder folder;
    FILE* const own = stdout;
    stdout = fopen(folder.file("out").c_str(), "w+");
    print();
    rewind(stdout);
    char text[64] = {};
    const std::size_t length = fread(text, 1, sizeof text, stdout);
    fclose(stdout);
    stdout = own;
    return {text, length};
}

}  // namespace

WAY(stdio_printing) {
    const std::string all = printed([] {
        same("printf", printf("%d|", 1), 2);
        same("vprintf", print_list(stdout, "%s|", "two"), 4);
        same("fprintf", fprintf(stdout, "%c|", '3'), 2);
        check(puts("four") >= 0 && putchar('5') == '5' && putc('6', stdout) == '6',
              "puts, putchar or putc failed");
        check(fputc('7', stdout) == '7' && fputs("8|", stdout) >= 0, "fputc or fputs failed");
        same("fwrite", static_cast<int>(fwrite("nine", 2, 2, stdout)), 2);
    });
    check(all == "1|two|3|four\n5678|nine", "something else was printed: " + all);
    Folder folder;
    FILE* const file = fopen(folder.file("other").c_str(), "w");
    same("vfprintf", print_list(file, "%d", 10), 2);
    fclose(file);
    sleep_ns(wait_ns());
}
