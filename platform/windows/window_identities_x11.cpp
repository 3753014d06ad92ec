#include "platform/windows/window_identities_x11.h"

#include <string>

#include "platform/desktop/application_id_linux.h"

namespace corvana {
namespace {

using Atom = x11::Connection::Atom;

/// In units of four bytes: more than any class has, and little enough to be asked for.
constexpr std::uint32_t longestClass = 256;

void put(const x11::Connection& connection, xcb_window_t window, xcb_atom_t property, xcb_atom_t type,
         std::string_view text) {
  ::xcb_change_property(connection.get(), XCB_PROP_MODE_REPLACE, window, property, type, 8,
                        static_cast<std::uint32_t>(text.size()), text.data());
}

}  // namespace

const x11::Connection* WindowIdentitiesX11::connection() {
  if (!connection_ || connection_->isLost()) connection_ = x11::Connection::open();
  return connection_ ? &*connection_ : nullptr;
}

void WindowIdentitiesX11::set(BrowserWindows::Window id, std::string_view bundleIdentifier) {
  const x11::Connection* x = connection();
  if (x == nullptr) return;
  const auto window = static_cast<xcb_window_t>(id);
  const auto known = x->ask(window, Atom::originalClass, longestClass);
  const auto present = x->ask(window, Atom::windowClass, longestClass);
  const bool isKnown = x->answer(known).text().has_value();
  const x11::Property original = x->answer(present);
  if (const auto text = original.text(); text && !isKnown) {
    put(*x, window, x->atom(Atom::originalClass), XCB_ATOM_STRING, *text);
  }
  const std::string name = applicationID(bundleIdentifier);
  put(*x, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, name + '\0' + name + '\0');
  put(*x, window, x->atom(Atom::kdeDesktopFile), x->atom(Atom::utf8), name);
  put(*x, window, x->atom(Atom::gtkApplicationID), x->atom(Atom::utf8), name);
  (void)::xcb_flush(x->get());
}

void WindowIdentitiesX11::restore(BrowserWindows::Window id) {
  const x11::Connection* x = connection();
  if (x == nullptr) return;
  const auto window = static_cast<xcb_window_t>(id);
  const x11::Property kept = x->answer(x->ask(window, Atom::originalClass, longestClass));
  const auto original = kept.text();
  if (!original) return;
  put(*x, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, *original);
  for (const Atom property : {Atom::originalClass, Atom::kdeDesktopFile, Atom::gtkApplicationID}) {
    ::xcb_delete_property(x->get(), window, x->atom(property));
  }
  (void)::xcb_flush(x->get());
}

}  // namespace corvana
