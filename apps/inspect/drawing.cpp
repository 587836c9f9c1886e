#include "apps/inspect/drawing.h"

#include "apps/draw/page.h"
#include "apps/inspect/panels.h"
#include "apps/inspect/report.h"
#include "ulmar/audio/file_name.h"

namespace ulmar::inspect {
namespace {

using draw::Picture;

// In pixels.
constexpr double kFirstTop = 122.0;  // of a frame, below the heading
constexpr double kRowHeight = 270.0;
constexpr double kSpectrogramHeight = 230.0;
constexpr double kColumnGap = 90.0;
constexpr double kColumnWidth = 0.5 * (draw::kFrameWidth - kColumnGap);
constexpr double kRightColumn = draw::kFrameLeft + kColumnWidth + kColumnGap;

double startsHeight(const Inspection& inspection) {
  static constexpr double kHeights[kMaxCurves] = {170.0, 228.0, 274.0, 328.0};
  return kHeights[numCurves(inspection) - 1];
}

void drawHeader(Picture& picture, const Inspection& inspection) {
  draw::drawHeading(picture, audio::withoutFolders(inspection.results.file.path));
  std::string text = fileText(inspection.results);
  if (inspection.channels.size() > kMaxCurves) {
    text += "; the first ";
    text += std::to_string(kMaxCurves);
    text += " channels are drawn";
  }
  draw::drawSubheading(picture, text);
}

}  // namespace

void draw(const Inspection& inspection, const std::string& path) {
  const draw::Box starts = {draw::kFrameLeft, kFirstTop, draw::kFrameWidth,
                            startsHeight(inspection)};
  const double decayTop = starts.bottom() + draw::kBetweenFrames;
  const double spectrogramTop = decayTop + kRowHeight + draw::kBetweenFrames;
  const double spectrumTop = spectrogramTop + kSpectrogramHeight + draw::kBetweenFrames;
  const double bottom =
      inspection.results.silent() ? starts.bottom() : spectrumTop + kRowHeight;

  Picture picture(path, draw::kPageWidth, draw::pageHeight(bottom));
  drawHeader(picture, inspection);
  drawStarts(picture, inspection, starts);
  if (!inspection.results.silent()) {
    drawDecays(picture, inspection,
               {draw::kFrameLeft, decayTop, kColumnWidth, kRowHeight});
    drawDecayTimes(picture, inspection,
                   {kRightColumn, decayTop, kColumnWidth, kRowHeight});
    drawSpectrogram(
        picture, inspection,
        {draw::kFrameLeft, spectrogramTop, draw::kFrameWidth, kSpectrogramHeight});
    drawSpectra(picture, inspection,
                {draw::kFrameLeft, spectrumTop, kColumnWidth, kRowHeight});
    drawCepstra(picture, inspection,
                {kRightColumn, spectrumTop, kColumnWidth, kRowHeight});
  }
  picture.commit();
}

}  // namespace ulmar::inspect
