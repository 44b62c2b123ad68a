/* Loads a library into a plain process and says what the loader says. */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

int main(int count, char** words) {
    const int mode = count > 2 && strcmp(words[2], "lazy") == 0 ? RTLD_LAZY : RTLD_NOW;
    void* library = dlopen(words[1], mode);
    if (library == NULL) {
        printf("%s\n", dlerror());
        return 3;
    }
    printf("loaded\n");
    return dlclose(library) == 0 ? 0 : 1;
}
