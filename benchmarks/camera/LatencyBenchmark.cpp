// The time from the capture of a frame to its presentation on a display: a camera on the network, shown by the capture
// screen of `tamsel-capture screen` and by GStreamer. Each frame shows its own number, which is read back from the display.
// Rounds of both alternate, and the medians are compared.

#include <median.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <turbojpeg.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace tamsel::benchmarks {

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr int width = 960; // of the screen's window, so that nobody scales
constexpr int height = 720;
constexpr auto interval = 33'333us;
constexpr int bits = 8;
constexpr int warmUp = 60;
constexpr int measured = 90;

/// A frame that shows a number in black and white columns.
std::vector<unsigned char> pictureOf(unsigned number)
{
    std::vector<unsigned char> pixels(std::size_t{width} * height * 3);
    for (std::size_t index = 0; index < pixels.size(); ++index) {
        const auto column = index / 3 % width * bits / width;
        pixels[index] = (number >> column & 1U) != 0 ? 255 : 0;
    }
    const std::unique_ptr<void, int (*)(void*)> compressor(tjInitCompress(), tjDestroy);
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    tjCompress2(
        compressor.get(), pixels.data(), width, 0, height, TJPF_RGB, &bytes, &size, TJSAMP_420, 90, 0);
    std::vector<unsigned char> file(bytes, bytes + size);
    tjFree(bytes);
    return file;
}

/// A camera on the network: HTTP with one JPEG picture after another, for one client at a time.
class Camera {
public:
    Camera()
    {
        for (unsigned number = 0; number < pictures_.size(); ++number)
            pictures_.at(number) = pictureOf(number);
        sockaddr_in address{
            .sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
        socklen_t size = sizeof address;
        if (bind(listener_, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(listener_, 4) != 0
            || getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) != 0)
            throw std::runtime_error("no port for the camera");
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { serve(); });
    }
    ~Camera()
    {
        isStopped_ = true;
        shutdown(listener_, SHUT_RDWR);
        thread_.join();
        close(listener_);
    }
    Camera(const Camera&) = delete;
    Camera& operator=(const Camera&) = delete;

    [[nodiscard]] std::string url() const { return "http://127.0.0.1:" + std::to_string(port_) + "/"; }
    /// Of the latest frame with this number.
    [[nodiscard]] Clock::time_point captureTime(unsigned number) const { return captured_.at(number).load(); }

private:
    void serve()
    {
        while (!isStopped_) {
            const int client = accept(listener_, nullptr, nullptr);
            if (client < 0)
                continue;
            std::array<char, 4096> request{};
            (void)recv(client, request.data(), request.size(), 0);
            bool isOpen = write(
                client, "HTTP/1.0 200 OK\r\nContent-Type: multipart/x-mixed-replace;boundary=frame\r\n\r\n");
            for (auto next = Clock::now(); isOpen && !isStopped_; next += interval) {
                std::this_thread::sleep_until(next);
                const std::vector<unsigned char>& picture = pictures_.at(number_);
                captured_.at(number_) = Clock::now();
                number_ = (number_ + 1) % pictures_.size();
                isOpen = write(client,
                    "--frame\r\nContent-Type: image/jpeg\r\nContent-Length: " + std::to_string(picture.size())
                        + "\r\n\r\n" + std::string(picture.begin(), picture.end()) + "\r\n");
            }
            close(client);
        }
    }

    static bool write(int client, const std::string& bytes)
    {
        return send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
    }

    std::array<std::vector<unsigned char>, 1U << bits> pictures_;
    std::array<std::atomic<Clock::time_point>, 1U << bits> captured_{};
    const int listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::uint16_t port_ = 0;
    std::size_t number_ = 0;
    std::atomic<bool> isStopped_ = false;
    std::thread thread_;
};

/// A program, until it is destroyed. Its output is discarded.
class Program {
public:
    explicit Program(const std::vector<std::string>& words) : process_(fork())
    {
        if (process_ != 0)
            return;
        (void)!freopen("/dev/null", "w", stdout);
        (void)!freopen("/dev/null", "w", stderr);
        std::vector<char*> arguments;
        for (const std::string& word : words)
            arguments.push_back(const_cast<char*>(word.c_str()));
        arguments.push_back(nullptr);
        execvp(arguments.front(), arguments.data());
        _exit(127);
    }
    ~Program()
    {
        kill(process_, SIGTERM);
        waitpid(process_, nullptr, 0);
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

private:
    const pid_t process_;
};

/// A display that nobody sees, of the size of one window.
class Display {
public:
    Display()
    {
        setenv("DISPLAY", name_.c_str(), 1);
        for (int attempt = 0; !display_ && attempt < 500; ++attempt) {
            std::this_thread::sleep_for(20ms);
            display_ = XOpenDisplay(name_.c_str());
        }
        if (!display_)
            throw std::runtime_error("Xvfb did not start");
    }
    ~Display() { XCloseDisplay(display_); }
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    /// The number that a line across the middle shows; absent when it shows something else.
    [[nodiscard]] std::optional<unsigned> number() const
    {
        XImage* image
            = XGetImage(display_, DefaultRootWindow(display_), 0, height / 2, width, 1, AllPlanes, ZPixmap);
        if (!image)
            return std::nullopt;
        unsigned number = 0;
        bool isClear = true;
        for (int bit = 0; bit < bits; ++bit) {
            const auto green = XGetPixel(image, (2 * bit + 1) * width / bits / 2, 0) >> 8U & 0xffU;
            isClear = isClear && (green < 40 || green > 215);
            number |= (green > 128 ? 1U : 0U) << static_cast<unsigned>(bit);
        }
        XDestroyImage(image);
        return isClear ? std::optional(number) : std::nullopt;
    }

private:
    const std::string name_ = ":" + std::to_string(200 + getpid() % 10'000);
    const Program server_{{"Xvfb", name_, "-screen", "0",
        std::to_string(width) + "x" + std::to_string(height) + "x24", "-nolisten", "tcp"}};
    ::Display* display_ = nullptr;
};

/// The median time from capture to presentation in milliseconds, while a program shows the camera.
double latency(const Camera& camera, const Display& display, const std::vector<std::string>& words)
{
    const Program program(words);
    std::vector<double> times;
    std::optional<unsigned> last;
    int seen = 0;
    for (const auto end = Clock::now() + 30s; seen < warmUp + measured;) {
        if (Clock::now() > end)
            throw std::runtime_error(words.front() + " shows no frames");
        const std::optional<unsigned> number = display.number();
        const auto now = Clock::now();
        if (number && number != last) {
            last = number;
            if (++seen > warmUp)
                times.push_back(
                    std::chrono::duration<double, std::milli>(now - camera.captureTime(*number)).count());
        }
        std::this_thread::sleep_for(300us);
    }
    return median(times);
}

void latencyOfAPreview(benchmark::State& state)
{
    try {
        const Camera camera;
        const Display display;
        std::vector<double> ours;
        std::vector<double> theirs;
        for (auto _ : state) {
            ours.push_back(
                latency(camera, display, {TAMSEL_CAPTURE_PROGRAM, "--back", camera.url(), "screen"}));
            theirs.push_back(latency(camera, display,
                {"gst-launch-1.0", "souphttpsrc", "is-live=true", "location=" + camera.url(), "!",
                    "multipartdemux", "!", "image/jpeg,framerate=0/1", "!", "jpegdec", "!", "videoconvert",
                    "!", "autovideosink", "sync=false"}));
        }
        state.counters["ours_ms"] = median(ours);
        state.counters["gstreamer_ms"] = median(theirs);
        state.counters["ratio"] = median(ours) / median(theirs);
    } catch (const std::exception& error) {
        state.SkipWithError(error.what());
    }
}
BENCHMARK(latencyOfAPreview)->Iterations(3)->Unit(benchmark::kMillisecond);

} // namespace

} // namespace tamsel::benchmarks
