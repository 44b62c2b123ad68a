// A program that needs no library.
#include <cstdio>

int main() {
    std::printf("it ran\n");
    return 0;
}
