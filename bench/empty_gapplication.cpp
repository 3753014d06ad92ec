// What an application costs that GIO makes: an empty one, with its name on the session bus, waiting.
#include <gio/gio.h>

int main(int argumentCount, char** arguments) {
  GApplication* application =
      ::g_application_new(argumentCount > 1 ? arguments[1] : "app.corvana.bench.Empty", G_APPLICATION_HANDLES_OPEN);
  ::g_signal_connect(application, "activate", G_CALLBACK(+[](GApplication* self) { ::g_application_hold(self); }),
                     nullptr);
  return ::g_application_run(application, 1, arguments);
}
