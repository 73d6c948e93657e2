/// Linked into every test of the thread sanitizer build; the sanitizer asks for this function by name.
///
/// The prebuilt library behind the processor pool synchronises where the sanitizer cannot see it, yet the C library
/// functions it calls are watched. Only those calls are left out: tasks that run on its threads stay watched.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions();

const char* __tsan_default_suppressions() {
    return "called_from_lib:libtbb.so\n";
}
