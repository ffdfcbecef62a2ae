#include <camera/Movies.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <thread>
#include <vector>

namespace tamsel::benchmarks {

namespace {

constexpr int width = 1920;
constexpr int height = 1080;

/// Calls `body` with each frame until it returns that it has enough or the file ends.
void forEachFrame(const std::string& file, const std::function<bool(const AVFrame&)>& body)
{
    AVFormatContext* format = nullptr;
    if (avformat_open_input(&format, file.c_str(), nullptr, nullptr) < 0
        || avformat_find_stream_info(format, nullptr) < 0)
        throw std::runtime_error("cannot open " + file);
    const int index = av_find_best_stream(format, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    const AVCodecParameters* parameters = format->streams[index]->codecpar;
    const AVCodec* decoder = avcodec_find_decoder(parameters->codec_id);
    AVCodecContext* codec = avcodec_alloc_context3(decoder);
    avcodec_parameters_to_context(codec, parameters);
    codec->thread_count = 1;
    avcodec_open2(codec, decoder, nullptr);
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    bool wantsMore = true;
    bool isDraining = false;
    while (wantsMore) {
        const int received = avcodec_receive_frame(codec, frame);
        if (received == 0) {
            wantsMore = body(*frame);
        } else if (received == AVERROR_EOF || isDraining) {
            break;
        } else if (av_read_frame(format, packet) < 0) {
            isDraining = true;
            avcodec_send_packet(codec, nullptr);
        } else {
            if (packet->stream_index == index)
                avcodec_send_packet(codec, packet);
            av_packet_unref(packet);
        }
    }
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&codec);
    avformat_close_input(&format);
}

} // namespace

std::string movie(int framesPerSecond)
{
    const auto file = std::filesystem::temp_directory_path()
        / ("tamsel-bench-" + std::to_string(framesPerSecond) + ".mp4");
    if (!std::filesystem::exists(file)) {
        // Grain on moving pictures, so that decoding costs as much as for a real video.
        const std::string command
            = "ffmpeg -v error -y -f lavfi -i testsrc2=s=1920x1080:r=30:d=5,noise=alls=8:allf=t,"
              "setpts=N/"
            + std::to_string(framesPerSecond) + "/TB -r " + std::to_string(framesPerSecond)
            + " -c:v libx264 -preset veryfast -crf 24 -pix_fmt yuv420p -colorspace bt709 "
            + "-color_range tv '" + file.string() + "'";
        if (std::system(command.c_str()) != 0)
            throw std::runtime_error("the ffmpeg command made no movie");
    }
    return file.string();
}

void decodeOne(const std::string& file)
{
    forEachFrame(file, [](const AVFrame&) { return false; });
}

void decodeAndConvert(const std::string& file, int frames, int framesPerSecond)
{
    std::vector<std::uint8_t> pixels(std::size_t{width} * height * 4);
    SwsContext* scaler = sws_getContext(width, height, AV_PIX_FMT_YUV420P, width, height, AV_PIX_FMT_BGRA,
        SWS_BILINEAR, nullptr, nullptr, nullptr);
    const int* coefficients = sws_getCoefficients(SWS_CS_ITU709);
    sws_setColorspaceDetails(scaler, coefficients, 0, coefficients, 1, 0, 1 << 16, 1 << 16);
    auto due = std::chrono::steady_clock::now();
    while (frames > 0) {
        forEachFrame(file, [&](const AVFrame& frame) {
            std::uint8_t* target[4] = {pixels.data(), nullptr, nullptr, nullptr};
            const int stride[4] = {width * 4, 0, 0, 0};
            sws_scale(scaler, frame.data, frame.linesize, 0, height, target, stride);
            if (framesPerSecond > 0) {
                due += std::chrono::nanoseconds(1'000'000'000 / framesPerSecond);
                std::this_thread::sleep_until(due);
            }
            return --frames > 0;
        });
    }
    sws_freeContext(scaler);
}

} // namespace tamsel::benchmarks
