/// Linked into every test of the thread sanitizer build; the sanitizer asks for this function by name.
///
/// The prebuilt library behind the processor pool synchronises where the sanitizer cannot see it, yet the C library
/// functions it calls are watched. Only those calls are left out: tasks that run on its threads stay watched.
///
/// The media manager flushes maps whose owners hold locks of their own while they call it, so those locks are taken in
/// every order. One thread at a time flushes and no other waits for it, which no cycle can close on, but the sanitizer
/// sees only the locks.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions();

const char* __tsan_default_suppressions() {
    return "called_from_lib:libtbb.so\n"
           "deadlock:RK::Details::MediaManager::MakeRoom\n";
}
