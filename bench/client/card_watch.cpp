// card_watch X,Y...: prints the time, in nanoseconds as Python's time.monotonic_ns() tells it,
// whenever one of these pixels of the screen begins to show something else than it did at first.
// Ends with its standard output's reader.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <unistd.h>
#include <vector>
#include <xcb/xcb.h>

namespace {

constexpr useconds_t interval = 500; // microseconds between two looks

struct Pixel
{
    std::int16_t x = 0, y = 0;
    std::optional<std::uint32_t> first;
    bool changed = false;
};

std::optional<std::uint32_t> colorOf(xcb_connection_t *connection, const xcb_screen_t &screen,
                                     const Pixel &pixel)
{
    const auto cookie = xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, screen.root, pixel.x,
                                      pixel.y, 1, 1, ~std::uint32_t(0));
    const std::unique_ptr<xcb_get_image_reply_t, decltype(&std::free)> image(
        xcb_get_image_reply(connection, cookie, nullptr), &std::free);
    if (!image)
        return std::nullopt;
    return *reinterpret_cast<const std::uint32_t *>(xcb_get_image_data(image.get()));
}

} // namespace

int main(int argc, char **argv)
{
    xcb_connection_t *connection = xcb_connect(nullptr, nullptr);
    std::vector<Pixel> pixels;
    for (int i = 1; i < argc; ++i) {
        char *comma = nullptr;
        const auto x = static_cast<std::int16_t>(std::strtol(argv[i], &comma, 10));
        const auto y = static_cast<std::int16_t>(std::strtol(comma + 1, nullptr, 10));
        pixels.push_back({x, y, {}, false});
    }
    if (pixels.empty() || xcb_connection_has_error(connection)) {
        std::fprintf(stderr, "usage: card_watch X,Y..., on a display\n");
        return 2;
    }
    const xcb_screen_t &screen = *xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    for (Pixel &pixel : pixels)
        pixel.first = colorOf(connection, screen, pixel);
    while (!std::ferror(stdout) && !xcb_connection_has_error(connection)) {
        for (Pixel &pixel : pixels) {
            const bool changed = colorOf(connection, screen, pixel) != pixel.first;
            if (changed && !pixel.changed) {
                const auto now = std::chrono::steady_clock::now().time_since_epoch();
                std::printf("%lld\n",
                            static_cast<long long>(std::chrono::nanoseconds(now).count()));
                std::fflush(stdout);
            }
            pixel.changed = changed;
        }
        ::usleep(interval);
    }
    return 0;
}
