// For programs that use GDBus under the thread sanitizer; empty in every other build.
//
// GLib's threads synchronise by futexes of their own, which the sanitizer cannot see, so it takes
// every block that they hand to each other for a race. What GLib's libraries themselves do is left
// out here; our own code, its call-backs from GLib's main loop included, stays under watch. A
// program links this file itself: the sanitizer asks the program first.
#ifdef MOX_TSAN

extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions();

const char* __tsan_default_suppressions() {
    return "called_from_lib:libglib-2.0.so\n"
           "called_from_lib:libgobject-2.0.so\n"
           "called_from_lib:libgio-2.0.so\n";
}

#endif
