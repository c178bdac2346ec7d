/* For tools/run-arm.sh: what a system that emulates Arm programs cannot do by itself. Built twice:
 * loaded into each Arm program, and into the programs of the machine (shells and the like) that an
 * Arm program executes.
 *
 * Executing: the system cannot execute an Arm program, so it gets the emulator's name in front.
 * Attaching: the emulator has reserved all addresses of its guest, so the system maps no segment at
 * one of them unless it is told to replace what is there; what an Arm program has mapped itself is
 * still not replaced. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <elf.h>
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <unistd.h>

static int is_arm_program(const char* path) {
    Elf32_Ehdr head;
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    const ssize_t got = file < 0 ? -1 : read(file, &head, sizeof head);
    if (file >= 0) {
        close(file);
    }
    return got == (ssize_t)sizeof head && memcmp(head.e_ident, ELFMAG, SELFMAG) == 0 &&
           head.e_machine == EM_ARM;
}

static size_t count_of(char* const texts[]) {
    size_t count = 0;
    while (texts[count] != NULL) {
        ++count;
    }
    return count;
}

/* All memory is on the stack: this may be the child of a fork in a process with threads. */
int execve(const char* path, char* const arguments[], char* const environment[]) {
    int (*next)(const char*, char* const*, char* const*) =
        (int (*)(const char*, char* const*, char* const*))dlsym(RTLD_NEXT, "execve");
    const char* const emulator = getenv("MOX_ARM_EMULATOR");
    const char* const preload = getenv("MOX_ARM_HOST_PRELOAD");
    const size_t count = count_of(arguments);
    const size_t variables = count_of(environment);
    if (emulator == NULL || preload == NULL) {
        errno = ENOEXEC;
        return -1;
    }
    if (access(path, X_OK) != 0) {
        return -1;
    }
    /* LD_PRELOAD names this library as the caller loads it: the emulator gives it to its guests by
     * itself, and a program of the machine gets the other build of it. */
    const char* kept[variables + 2];
    size_t used = 0;
    for (size_t index = 0; index < variables; ++index) {
        if (strncmp(environment[index], "LD_PRELOAD=", strlen("LD_PRELOAD=")) != 0) {
            kept[used++] = environment[index];
        }
    }
    if (!is_arm_program(path)) {
        char setting[strlen("LD_PRELOAD=") + strlen(preload) + 1];
        strcat(strcpy(setting, "LD_PRELOAD="), preload);
        kept[used++] = setting;
        kept[used] = NULL;
        return next(path, arguments, (char* const*)kept);
    }
    kept[used] = NULL;
    const char* command[count + 5];
    used = 0;
    command[used++] = emulator;
    command[used++] = "-0";
    command[used++] = count > 0 ? arguments[0] : path;
    command[used++] = path;
    for (size_t index = 1; index < count; ++index) {
        command[used++] = arguments[index];
    }
    command[used] = NULL;
    return next(emulator, (char* const*)command, (char* const*)kept);
}

int execv(const char* path, char* const arguments[]) {
    return execve(path, arguments, environ);
}

/* A name without a folder is one of the machine's programs. */
int execvp(const char* name, char* const arguments[]) {
    int (*next)(const char*, char* const*) =
        (int (*)(const char*, char* const*))dlsym(RTLD_NEXT, "execvp");
    return strchr(name, '/') != NULL ? execve(name, arguments, environ) : next(name, arguments);
}

#ifdef __arm__
void* shmat(int id, const void* address, int flags) {
    void* (*next)(int, const void*, int) =
        (void* (*)(int, const void*, int))dlsym(RTLD_NEXT, "shmat");
    struct shmid_ds segment;
    if (address == NULL || shmctl(id, IPC_STAT, &segment) != 0) {
        return next(id, address, flags);
    }
    /* A mapping without a command to be there goes elsewhere when something else is there. */
    void* const place = mmap((void*)address, segment.shm_segsz, PROT_NONE,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (place == MAP_FAILED) {
        return place;
    }
    munmap(place, segment.shm_segsz);
    if (place != address) {
        errno = EINVAL;
        return (void*)-1;
    }
    return next(id, address, flags | SHM_REMAP);
}
#endif
