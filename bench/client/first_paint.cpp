// first_paint COMMAND [ARGUMENT...]: the milliseconds from a program's start to the moment when the
// middle of the screen shows what the program has painted there. Ends the program.
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr auto patience = 20s;
constexpr auto pause = 500us; // between two looks; each costs the X server some microseconds

std::optional<std::uint32_t> middlePixel(xcb_connection_t *connection, const xcb_screen_t &screen)
{
    const auto cookie =
        xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, screen.root,
                      std::int16_t(screen.width_in_pixels / 2),
                      std::int16_t(screen.height_in_pixels / 2), 1, 1, ~std::uint32_t(0));
    const std::unique_ptr<xcb_get_image_reply_t, decltype(&std::free)> image(
        xcb_get_image_reply(connection, cookie, nullptr), &std::free);
    if (!image)
        return std::nullopt;
    return *reinterpret_cast<const std::uint32_t *>(xcb_get_image_data(image.get()));
}

template<typename Condition>
bool becomes(Condition condition)
{
    const auto start = Clock::now();
    while (!condition()) {
        if (Clock::now() - start > patience)
            return false;
        ::usleep(useconds_t(std::chrono::microseconds(pause).count()));
    }
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    xcb_connection_t *connection = xcb_connect(nullptr, nullptr);
    if (argc < 2 || xcb_connection_has_error(connection)) {
        std::fprintf(stderr, "usage: first_paint COMMAND [ARGUMENT...], on a display\n");
        return 2;
    }
    const xcb_screen_t &screen = *xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    const auto before = middlePixel(connection, screen);

    const auto start = Clock::now();
    pid_t program = 0;
    if (const int error = ::posix_spawn(&program, argv[1], nullptr, nullptr, argv + 1, environ)) {
        errno = error;
        std::perror(argv[1]);
        return 1;
    }
    const bool painted = becomes([&] { return middlePixel(connection, screen) != before; });
    const std::chrono::duration<double, std::milli> taken = Clock::now() - start;
    ::kill(program, SIGTERM);
    ::waitpid(program, nullptr, 0);
    // The next one is to find the same screen.
    const bool cleared = becomes([&] { return middlePixel(connection, screen) == before; });
    xcb_disconnect(connection);
    if (!painted || !cleared) {
        std::fprintf(stderr, "first_paint: %s\n",
                     painted ? "the screen is not cleared" : "nothing was painted");
        return 1;
    }
    std::printf("%.1f\n", taken.count());
    return 0;
}
