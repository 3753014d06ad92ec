#include "platform/desktop/known_browsers_linux.h"

#include <algorithm>

namespace corvana {
namespace {

constexpr KnownBrowser browsers[] = {
    {"com.google.Chrome",
     {"google-chrome.desktop", "google-chrome-stable.desktop", "com.google.Chrome.desktop"},
     "google-chrome",
     "org.chromium.Chromium"},
    {"com.google.Chrome.beta", {"google-chrome-beta.desktop"}, "google-chrome-beta", ""},
    {"com.google.Chrome.dev",
     {"google-chrome-unstable.desktop", "com.google.ChromeDev.desktop"},
     "google-chrome-unstable",
     ""},
    {"com.google.Chrome.canary", {"google-chrome-canary.desktop"}, "google-chrome-canary", ""},
    {"com.google.chrome.for.testing", {}, "", ""},
    {"org.chromium.Chromium",
     {"chromium.desktop", "chromium-browser.desktop", "chromium_chromium.desktop", "org.chromium.Chromium.desktop"},
     "chromium",
     ""},
    {"org.mozilla.firefox",
     {"firefox.desktop", "firefox-esr.desktop", "firefox_firefox.desktop", "org.mozilla.firefox.desktop"},
     "",
     ""},
    {"org.mozilla.firefoxdeveloperedition",
     {"firefox-devedition.desktop", "firefox-developer-edition.desktop"},
     "",
     ""},
    {"org.mozilla.nightly", {"firefox-nightly.desktop"}, "", ""},
    {"com.microsoft.edgemac", {"microsoft-edge.desktop", "com.microsoft.Edge.desktop"}, "", ""},
    {"com.microsoft.edgemac.Beta", {"microsoft-edge-beta.desktop"}, "", ""},
    {"com.brave.Browser", {"brave-browser.desktop", "com.brave.Browser.desktop", "brave_brave.desktop"}, "", ""},
    {"com.brave.Browser.beta", {"brave-browser-beta.desktop"}, "", ""},
    {"com.brave.Browser.nightly", {"brave-browser-nightly.desktop"}, "", ""},
    {"com.operasoftware.Opera", {"opera.desktop", "com.opera.Opera.desktop", "opera_opera.desktop"}, "", ""},
    {"com.operasoftware.OperaGX", {"opera-gx.desktop", "com.opera.opera-gx.desktop"}, "", ""},
    {"com.vivaldi.Vivaldi", {"vivaldi-stable.desktop", "vivaldi.desktop", "com.vivaldi.Vivaldi.desktop"}, "", ""},
    {"app.zen-browser.zen", {"zen.desktop", "zen-browser.desktop", "app.zen_browser.zen.desktop"}, "", ""},
    {"org.torproject.torbrowser", {"torbrowser.desktop", "org.torproject.torbrowser-launcher.desktop"}, "", ""},
    {"com.apple.Safari", {}, "", ""},
    {"com.apple.SafariTechnologyPreview", {}, "", ""},
    {"company.thebrowser.Browser", {}, "", ""},
    {"company.thebrowser.dia", {}, "", ""},
    {"com.kagimacOS.Kagi", {}, "", ""},
    {"com.duckduckgo.macos.browser", {}, "", ""},
    {"com.sigmaos.sigmaos.macos", {}, "", ""},
    {"ai.perplexity.comet", {}, "", ""},
};

}  // namespace

std::span<const KnownBrowser> knownBrowsers() {
  return browsers;
}

const KnownBrowser* knownBrowser(std::string_view bundleIdentifier) {
  const auto* found = std::ranges::find(browsers, bundleIdentifier, &KnownBrowser::bundleIdentifier);
  return found == std::ranges::end(browsers) ? nullptr : found;
}

}  // namespace corvana
