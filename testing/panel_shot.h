// The panel along the top of an X screen as the screen shows it, for the
// tray test and the demo: where the tray item's pixels are and how well they
// contrast with the panel. Header only; for Qt programs on xcb.
#pragma once

#include <QCoreApplication>
#include <QEventLoop>
#include <QGuiApplication>
#include <QImage>
#include <QRect>
#include <QScreen>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <functional>

namespace Vantor::Testing {

// Serves Qt's (and GLib's) events for `milliseconds`.
inline void serveEvents(int milliseconds) {
  QEventLoop loop;
  QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
  loop.exec();
}

// Serves events until `condition` holds or `timeout` passes; the screen and
// other processes give no event to wait for, so it looks every 20 ms.
inline bool spinUntil(const std::function<bool()>& condition,
                      std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    serveEvents(20);
  }
  return true;
}

// The WCAG contrast ratio of two colours (1 to 21).
inline double contrastRatio(QRgb a, QRgb b) {
  const auto luminance = [](QRgb c) {
    const auto channel = [](int v) {
      const double s = v / 255.0;
      return s <= 0.04045 ? s / 12.92 : std::pow((s + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * channel(qRed(c)) + 0.7152 * channel(qGreen(c)) + 0.0722 * channel(qBlue(c));
  };
  const double x = luminance(a) + 0.05;
  const double y = luminance(b) + 0.05;
  return std::max(x, y) / std::min(x, y);
}

// The item's pixels are those of the panel's first 200 columns that differ
// from its background, taken at the panel's far end (the tray is its only
// plug-in, at its start).
struct PanelShot {
  QImage strip;
  QRgb background = 0;
  QRect icon;              // bounding box of the item's pixels
  double best = 0;         // the highest contrast of an item pixel
  int readablePixels = 0;  // item pixels contrasting at least 4.5:1

  static PanelShot take(int panelHeight) {
    PanelShot shot;
    const QImage screen =
        QGuiApplication::primaryScreen()->grabWindow(0).toImage().convertToFormat(QImage::Format_RGB32);
    shot.strip = screen.copy(0, 0, screen.width(), panelHeight);
    shot.background = shot.strip.pixel(shot.strip.width() - 4, panelHeight / 2);
    for (int y = 2; y < panelHeight - 2; ++y) {
      for (int x = 0; x < std::min(200, shot.strip.width()); ++x) {
        const double ratio = contrastRatio(shot.strip.pixel(x, y), shot.background);
        if (ratio < 1.2) continue;
        shot.icon |= QRect(x, y, 1, 1);
        shot.best = std::max(shot.best, ratio);
        if (ratio >= 4.5) ++shot.readablePixels;
      }
    }
    return shot;
  }
};

// Waits until the panel shows an item and something other than `before`,
// then until it holds still for a tenth of a second (the host redraws in its
// own time after a setting or the icon changed). At most ten seconds each.
inline PanelShot settledShotAfter(const QImage& before, int panelHeight) {
  PanelShot shot = PanelShot::take(panelHeight);
  spinUntil([&] {
    shot = PanelShot::take(panelHeight);
    return shot.strip != before && !shot.icon.isEmpty();
  });
  spinUntil([&] {
    const QImage last = shot.strip;
    serveEvents(100);
    shot = PanelShot::take(panelHeight);
    return shot.strip == last;
  });
  return shot;
}

}  // namespace Vantor::Testing
