// Sources of chance: they follow the run's seed, so what the program makes of them does, too.
#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <random>
#include <vector>

#include "tests/hosts/ways.h"

namespace {

using namespace ways;

constexpr int drawn_bytes = 16;
using Bytes = unsigned char[drawn_bytes];

void tell(const unsigned char* bytes, int count = drawn_bytes) {
    std::string text = "drew";
    for (int i = 0; i < count; ++i) text += " " + std::to_string(bytes[i]);
    note(text);
}

// Two draws of sixteen bytes are the same by mistake alone.
template <typename Draw>
void draws(Draw draw) {
    Bytes first{};
    Bytes second{};
    draw(first);
    draw(second);
    check(std::string(first, first + drawn_bytes) != std::string(second, second + drawn_bytes),
          "it draws the same again");
    tell(first);
    tell(second);
    sleep_ns(wait_ns());
}

template <typename File>
void draws_from(File open_it) {
    const Descriptor source(open_it());
    draws([&](unsigned char* bytes) { same("read", read(source, bytes, drawn_bytes), drawn_bytes); });
}

}  // namespace

WAY(chance_getrandom, Kind::chance) {
    draws([](unsigned char* bytes) { same("getrandom", getrandom(bytes, drawn_bytes, 0), drawn_bytes); });
}

WAY(chance_getrandom_of_the_other_source, Kind::chance) {
    draws([](unsigned char* bytes) {
        same("getrandom", getrandom(bytes, drawn_bytes, GRND_RANDOM | GRND_NONBLOCK), drawn_bytes);
    });
}

WAY(chance_getentropy, Kind::chance) {
    draws([](unsigned char* bytes) { worked("getentropy", getentropy(bytes, drawn_bytes)); });
}

WAY(chance_urandom, Kind::chance) {
    draws_from([] { return open("/dev/urandom", O_RDONLY | O_CLOEXEC); });
}

WAY(chance_random, Kind::chance) {
    draws_from([] { return open("/dev/random", O_RDONLY | O_CLOEXEC); });
}

WAY(chance_urandom_as_a_stream, Kind::chance) {
    std::ifstream stream("/dev/urandom", std::ios::binary);
    draws([&](unsigned char* bytes) {
        stream.read(reinterpret_cast<char*>(bytes), drawn_bytes);
        check(stream.good(), "the stream cannot be read");
    });
}

WAY(chance_urandom_as_a_c_stream, Kind::chance) {
    FILE* const stream = fopen("/dev/urandom", "rb");
    if (stream == nullptr) return fail("fopen failed");
    draws([&](unsigned char* bytes) {
        same("fread", static_cast<std::int64_t>(fread(bytes, 1, drawn_bytes, stream)), drawn_bytes);
    });
    fclose(stream);
}

WAY(chance_arc4random, Kind::chance) {
    draws([](unsigned char* bytes) {
        arc4random_buf(bytes, drawn_bytes);
        bytes[0] = static_cast<unsigned char>(arc4random());
        bytes[1] = static_cast<unsigned char>(arc4random_uniform(200));
        check(bytes[1] < 200, "arc4random_uniform draws too much");
    });
}

WAY(chance_random_device, Kind::chance) {
    std::random_device device;
    draws([&](unsigned char* bytes) {
        for (int i = 0; i < drawn_bytes; ++i) bytes[i] = static_cast<unsigned char>(device());
    });
}

// Where things lie in memory, and the process's number, are drawn by the kernel. Neither shows in the trace.
WAY(chance_of_the_kernel, Kind::board) {
    const auto number = static_cast<std::size_t>(getpid());
    std::vector<char> somewhere(number + 64);
    const Descriptor motor(open("/sys/class/motor/pos", O_RDONLY));
    check(read(motor, somewhere.data() + number, 64) > 0, "nothing to read");
    sleep_ns(wait_ns());
}

// A temporary file's name is drawn, too.
WAY(chance_of_a_temporary_name) {
    char path[] = "/tmp/way-XXXXXX";
    const Descriptor file(mkstemp(path));
    worked("unlink", unlink(path));
    sleep_ns(wait_ns());
}
