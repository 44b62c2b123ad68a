/* A host that loads the library by hand, twice, keeps it to itself, and fills its table of callbacks only then.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>

#include "ovrafocus/requests.h"

static int toasts[8];
static int count_of_toasts = 0;

static void on_toast(int32_t code) {
    if (count_of_toasts < 8) toasts[count_of_toasts++] = code;
}

static void* function_of(void* library, const char* name) {
    void* function = dlsym(library, name);
    if (function == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        exit(2);
    }
    return function;
}

typedef int32_t (*init_function)(const app_callback_table*);
typedef int32_t (*plain_function)(void);
typedef int32_t (*number_function)(int32_t);

int main(int count, char** words) {
    static app_callback_table table;
    void* library = NULL;
    for (int i = 0; i < 2; ++i) {
        library = count > 1 ? dlopen(words[1], RTLD_NOW | RTLD_LOCAL) : NULL;
        if (library == NULL) return 3;
        if (i == 0 && dlclose(library) != 0) return 4;
    }
    ((init_function)function_of(library, "app_callback_init"))(&table);
    ((plain_function)function_of(library, "ovrafocus_init"))();
    table.toast = on_toast;
    ((number_function)function_of(library, "varnel_set_osd_settings_autofocus"))(0);
    ((number_function)function_of(library, "varnel_set_osd_settings_keystone"))(0);
    ((number_function)function_of(library, "manufocusTMR"))(1);
    fprintf(stderr, "%d toasts, the first %d\n", count_of_toasts, toasts[0]);
    return 0;
}
