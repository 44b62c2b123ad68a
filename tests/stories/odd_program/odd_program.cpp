// A program for the virtual projector that does the one thing it is told to.
#include <dlfcn.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

namespace {

pthread_mutex_t first = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t second = PTHREAD_MUTEX_INITIALIZER;

void* takes_second_then_first(void*) {
    pthread_mutex_lock(&second);
    usleep(1000);
    pthread_mutex_lock(&first);
    return nullptr;
}

// Each of two threads holds what the other one wants.
int block_for_ever() {
    pthread_t other;
    pthread_mutex_lock(&first);
    pthread_create(&other, nullptr, takes_second_then_first, nullptr);
    usleep(2000);
    pthread_mutex_lock(&second);
    return 0;
}

long long wall_clock_us() {
    timeval now{};
    gettimeofday(&now, nullptr);
    return now.tv_sec * 1000000LL + now.tv_usec;
}

void* counts_up(void* counter) {
    for (int i = 0; i < 1000; ++i) ++*static_cast<int*>(counter);
    return nullptr;
}

// Two threads count with one counter, and nothing keeps them apart.
int race() {
    int counter = 0;
    pthread_t other;
    pthread_create(&other, nullptr, counts_up, &counter);
    counts_up(&counter);
    pthread_join(other, nullptr);
    return counter > 2000 ? 1 : 0;
}

int sleep_for(const char* seconds) {
    const long long before = wall_clock_us();
    sleep(static_cast<unsigned>(std::atoi(seconds)));
    std::printf("%lld us went by\n", wall_clock_us() - before);
    return 0;
}

int show_environment() {
    for (const char* name : {"LD_PRELOAD", "VIRTUAL_PROJECTOR_RUN"}) {
        std::printf("%s %s\n", name, std::getenv(name) == nullptr ? "is not set" : "is set");
    }
    return 0;
}

int show_node(const char* path) {
    std::FILE* const node = std::fopen(path, "r");
    if (node == nullptr) {
        std::printf("%s: %s\n", path, std::strerror(errno));
        return 1;
    }
    char text[256] = {};
    const bool read = std::fgets(text, sizeof text, node) != nullptr;
    std::fclose(node);
    std::printf("%s", read ? text : "nothing\n");
    return 0;
}

// Waits for somebody outside: until its standard input ends.
int read_to_the_end() {
    char byte = 0;
    while (read(STDIN_FILENO, &byte, 1) > 0) {
    }
    return 0;
}

int stay_in_spite_of_signals() {
    for (const int each : {SIGINT, SIGTERM, SIGHUP}) std::signal(each, SIG_IGN);
    std::printf("ready\n");
    std::fflush(stdout);
    return read_to_the_end();
}

int end_with_a_child_left() {
    if (fork() == 0) {
        execlp("sleep", "sleep", "1000", nullptr);
        _exit(1);
    }
    return std::raise(SIGABRT);
}

// As a child that was forked off, and then itself.
int show_node_in_both(const char* path) {
    const pid_t child = fork();
    if (child == 0) {
        const int failed = show_node(path);
        std::exit(failed);  // with all that is to be done at the end of a program
    }
    int status = 0;
    waitpid(child, &status, 0);
    std::printf("the child ended with %d\n", WEXITSTATUS(status));
    return show_node(path);
}

void* waits(void* until) {
    sem_wait(static_cast<sem_t*>(until));
    return nullptr;
}

int load(const char* library, const char* when) {
    pthread_t other;
    sem_t loaded_it;
    sem_init(&loaded_it, 0, 0);
    const bool late = std::strcmp(when, "late") == 0;
    if (late) pthread_create(&other, nullptr, waits, &loaded_it);
    void* const loaded = dlopen(library, RTLD_NOW);
    if (loaded == nullptr) std::printf("%s\n", dlerror());
    sem_post(&loaded_it);
    if (late) pthread_join(other, nullptr);
    sem_destroy(&loaded_it);
    return loaded == nullptr ? 1 : show_environment();
}

int become(char** words) {
    execvp(words[0], words);
    std::printf("%s\n", std::strerror(errno));
    return 1;
}

int show_arguments(int count, char** words) {
    for (int i = 0; i < count; ++i) std::printf("[%s]", words[i]);
    std::printf("\n");
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const char* const what = argc > 1 ? argv[1] : "";
    const char* const how = argc > 2 ? argv[2] : "";
    if (std::strcmp(what, "exit") == 0) return std::atoi(how);
    if (std::strcmp(what, "exit at once") == 0) _exit(std::atoi(how));
    if (std::strcmp(what, "signal") == 0)
        return std::signal(std::atoi(how), SIG_DFL), std::raise(std::atoi(how));
    if (std::strcmp(what, "block") == 0) return block_for_ever();
    if (std::strcmp(what, "race") == 0) return race();
    if (std::strcmp(what, "sleep") == 0) return sleep_for(how);
    if (std::strcmp(what, "environment") == 0) return show_environment();
    if (std::strcmp(what, "node") == 0) return show_node(how);
    if (std::strcmp(what, "node in both") == 0) return show_node_in_both(how);
    if (std::strcmp(what, "node and environment") == 0) return show_node(how), show_environment();
    if (std::strcmp(what, "node and stdin") == 0) return show_node(how), std::fflush(stdout), read_to_the_end();
    if (std::strcmp(what, "stdin") == 0) return read_to_the_end();
    if (std::strcmp(what, "stay") == 0) return stay_in_spite_of_signals();
    if (std::strcmp(what, "leave a child") == 0) return end_with_a_child_left();
    if (std::strcmp(what, "load") == 0) return load(how, argc > 3 ? argv[3] : "");
    if (std::strcmp(what, "node and become") == 0) return show_node(how), become(argv + 3);
    if (std::strcmp(what, "become") == 0) return become(argv + 2);
    if (std::strcmp(what, "elsewhere") == 0) return chdir(how);
    if (std::strcmp(what, "arguments") == 0) return show_arguments(argc - 2, argv + 2);
    return 99;
}
