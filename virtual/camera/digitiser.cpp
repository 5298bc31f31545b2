// SPDX-License-Identifier: LGPL-2.1-or-later
#include "digitiser.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace tavo::virtualcamera {

namespace {

constexpr double kPreviewSpeed = 2.0;
constexpr double kPreviewNoise = 2.0;

// What `inner` yields, later by a number of bytes: empty samples come first, and as much of the end
// never comes.
class LateBytes final : public ByteSource {
public:
    LateBytes(std::unique_ptr<ByteSource> inner_, std::uint64_t lag)
        : inner(std::move(inner_)), empty(std::min(lag, inner->size())) {}

    std::uint64_t size() const override { return inner->size(); }

    void read(std::span<std::uint8_t> target) override {
        const auto late = static_cast<std::size_t>(std::min<std::uint64_t>(empty, target.size()));
        std::fill_n(target.begin(), late, std::uint8_t{0});
        empty -= late;
        if (late != target.size())
            inner->read(target.subspan(late));
    }

private:
    std::unique_ptr<ByteSource> inner;
    std::uint64_t empty;
};

} // namespace

void Digitiser::send(Exposure exposure, const Window& window, bool preview, double seconds,
                     const PixelForm& form) const {
    if (preview)
        exposure.readNoiseFactor = kPreviewNoise;
    const double pace = parts.model.pixelsPerSecond * (preview ? kPreviewSpeed : 1.0);
    const auto start = parts.clock.now() + parts.clock.reactionTime(parts.model.readoutLatency) +
                       static_cast<Microseconds>(seconds * double{kSecond});
    parts.journal("camera: image of ", window.columns(), "x", window.rows(), " pixels on its way");
    std::unique_ptr<ByteSource> pixels = std::make_unique<FrameBytes>(
        parts.instrument.render(exposure, window), form.encode, form.bytesPerPixel);
    if (form.lag != 0)
        pixels = std::make_unique<LateBytes>(std::move(pixels), form.lag * form.bytesPerPixel);
    parts.fifo.stream(std::move(pixels), start,
                      double{kSecond} / (pace * static_cast<double>(form.bytesPerPixel)));
}

} // namespace tavo::virtualcamera
