/* Tells which versions it was built and runs with, after a command to a simulated unit. */
#include <rovk/message.h>
#include <rovk/trans.h>
#include <rovk/transport.h>
#include <rovk/version.h>
#include <stdio.h>

int main(void) {
  void* context = NULL;
  if (rovktrans_init("sim?clock=virtual", NULL, &context) ||
      rovk_common_api_version.major + rovk_common_api_version.minor == 0)
    return 1;
  if (!rovktrans_find_peripheral(context, ROVK_LED_0001_PERIPHERAL_ID) || rovktrans_deinit(context)) return 1;
  printf("header %s\nlibrovk-message %s\nlibrovktrans %s\nlibrovk-transport %s\n", ROVK_VERSION,
         rovk_message_library_version(), rovktrans_library_version(), rovk_transport_library_version());
  return 0;
}
