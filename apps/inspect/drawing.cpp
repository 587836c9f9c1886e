#include "apps/inspect/drawing.h"

#include "apps/inspect/panels.h"
#include "apps/inspect/report.h"

namespace ulmar::inspect {
namespace {

using draw::Picture;

// The page, in pixels. A row of diagrams takes its frame, the title above and the
// labels below.
constexpr int kWidth = 1200;
constexpr double kMargin = 30.0;
constexpr double kLeft = 82.0;
constexpr double kInnerWidth = kWidth - kMargin - kLeft;
constexpr double kHeader = 78.0;
constexpr double kTitle = 44.0;
constexpr double kLabels = 46.0;
constexpr double kRowHeight = 270.0;
constexpr double kSpectrogramHeight = 230.0;
constexpr double kColumnGap = 90.0;
constexpr double kColumnWidth = 0.5 * (kInnerWidth - kColumnGap);
constexpr double kRightColumn = kLeft + kColumnWidth + kColumnGap;

double waveformHeight(const Inspection& inspection) {
  static constexpr double kHeights[kMaxCurves] = {170.0, 228.0, 274.0, 328.0};
  return kHeights[numCurves(inspection) - 1];
}

void drawHeader(Picture& picture, const Inspection& inspection) {
  constexpr Picture::Font kNameFont = {.size = 21.0, .color = draw::kInk, .bold = true};
  constexpr Picture::Font kTextFont = {.size = 14.0, .color = draw::kSoftInk};
  constexpr double kTextWidth = kWidth - 2.0 * kMargin;
  const audio::AudioInfo& info = inspection.file.info;
  const std::string name = info.path.substr(info.path.rfind('/') + 1);
  picture.text({kMargin, 38.0}, picture.shortened(name, kTextWidth, kNameFont),
               draw::Align::left, kNameFont);
  std::string text = fileText(inspection.results);
  if (inspection.channels.size() > kMaxCurves) {
    text += "; the first ";
    text += std::to_string(kMaxCurves);
    text += " channels are drawn";
  }
  picture.text({kMargin, 62.0}, picture.shortened(text, kTextWidth, kTextFont),
               draw::Align::left, kTextFont);
}

}  // namespace

double withRoomForLegend(double low, double high, std::size_t numEntries,
                         const draw::Box& box) {
  const double part = (19.0 * static_cast<double>(numEntries) + 20.0) / box.height;
  return low + (high - low) / (1.0 - part);
}

void draw(const Inspection& inspection, const std::string& path) {
  constexpr double kBetweenRows = kLabels + kTitle;
  const draw::Box waveforms = {kLeft, kHeader + kTitle, kInnerWidth,
                               waveformHeight(inspection)};
  const double decayTop = waveforms.bottom() + kBetweenRows;
  const double spectrogramTop = decayTop + kRowHeight + kBetweenRows;
  const double spectrumTop = spectrogramTop + kSpectrogramHeight + kBetweenRows;
  const double bottom =
      inspection.results.silent() ? waveforms.bottom() : spectrumTop + kRowHeight;

  Picture picture(path, kWidth, static_cast<int>(bottom + kLabels + 0.5 * kMargin));
  drawHeader(picture, inspection);
  drawWaveforms(picture, inspection, waveforms);
  if (!inspection.results.silent()) {
    drawDecays(picture, inspection, {kLeft, decayTop, kColumnWidth, kRowHeight});
    drawDecayTimes(picture, inspection,
                   {kRightColumn, decayTop, kColumnWidth, kRowHeight});
    drawSpectrogram(picture, inspection,
                    {kLeft, spectrogramTop, kInnerWidth, kSpectrogramHeight});
    drawSpectra(picture, inspection, {kLeft, spectrumTop, kColumnWidth, kRowHeight});
    drawCepstra(picture, inspection,
                {kRightColumn, spectrumTop, kColumnWidth, kRowHeight});
  }
  picture.commit();
}

}  // namespace ulmar::inspect
