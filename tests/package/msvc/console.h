/* What a program without a C library needs of the system: text on standard output and an end. */
#ifndef TARN_TEST_MSVC_CONSOLE_H
#define TARN_TEST_MSVC_CONSOLE_H

#ifdef __cplusplus
extern "C" {
#endif

__declspec(dllimport) void *GetStdHandle(unsigned long which);
__declspec(dllimport) int WriteFile(void *file, const void *data, unsigned long length,
                                    unsigned long *written, void *overlapped);
__declspec(dllimport) void ExitProcess(unsigned int status);

/* The compiler's mark of a program that uses floating point. */
extern int _fltused;

#ifdef __cplusplus
}
#endif

static int failures;

static void print(const char *text) {
    unsigned long length = 0, written = 0;
    while (text[length] != 0) {
        ++length;
    }
    WriteFile(GetStdHandle((unsigned long)-11), text, length, &written, 0);
}

static void check(int holds, const char *what) {
    if (!holds) {
        print("failed: ");
        print(what);
        print("\n");
        ++failures;
    }
}

#define CHECK(condition) check((condition) ? 1 : 0, #condition)

static void end(const char *name) {
    print(name);
    print(failures == 0 ? ": passed\n" : ": failed\n");
    ExitProcess(failures == 0 ? 0 : 1);
}

#endif
