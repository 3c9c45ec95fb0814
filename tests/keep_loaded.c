/* Put in front of an interpreter under the sanitizers: native modules stay loaded when it closes its
 * state. What they hold for the life of the process would else look leaked, as nothing points to it
 * any more once they are unmapped. */
int dlclose(void* library);

__attribute__((visibility("default"))) int dlclose(void* library) {
  (void)library;
  return 0;
}
