// Under the leak checker of the sanitized build: the caches that the system's
// font library keeps until the process ends are not ours to free.
extern "C" const char *__lsan_default_suppressions() {
  return "leak:libfontconfig.so\n";
}
