// A camera or a microphone of PipeWire: pipewire_source KEY=VALUE…, where a key with a dot is a property of the node.
//   modes=BGRx:64x48,…  what it offers            rate=20         frames a second
//   picture=FILE        each frame; without it frame N consists of the byte N
//   count=60            frames or pieces of sound; then it sends none  log=FILE       gets a byte with each frame
//   header=no           its frames have no header  memory=own    its buffers are files in memory, used from their byte 100 on
//   sound=numbers       a microphone, float, 48 kHz, stereo: sample N is N / 2^23 on the left and -N / 2^23 on the right
//   sound=tone          a microphone, 16 bits, 44.1 kHz, mono: a sine of 1 kHz and half the range

#include <pipewire/pipewire.h>
#include <spa/debug/types.h>
#include <spa/param/audio/format-utils.h>
#include <spa/param/latency-utils.h>
#include <spa/param/video/format-utils.h>
#include <spa/param/video/type-info.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <map>
#include <numbers>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Source {
    std::string option(const std::string& key, const std::string& otherwise) const
    {
        const auto found = options.find(key);
        return found == options.end() ? otherwise : found->second;
    }

    std::map<std::string, std::string> options;
    pw_main_loop* loop = nullptr;
    pw_stream* stream = nullptr;
    spa_source* timer = nullptr;
    std::string picture;
    std::ofstream log;
    int stride = 0;
    std::size_t size = 0;
    std::uint64_t number = 0;
    std::uint64_t start = 0; ///< of the sound
    std::uint64_t sent = 0; ///< pieces of sound
};

std::uint64_t now()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<std::uint64_t>(SPA_TIMESPEC_TO_NSEC(&time));
}

bool isTone(const Source& self)
{
    return self.options.at("sound") == "tone";
}

bool ownsMemory(const Source& self)
{
    return self.option("memory", "") == "own";
}

void setFormat(void* data, std::uint32_t kind, const spa_pod* format)
{
    auto& self = *static_cast<Source*>(data);
    spa_video_info info{};
    if (kind != SPA_PARAM_Format || !format || spa_format_video_parse(format, &info) < 0)
        return;
    const spa_video_info_raw& raw = info.info.raw;
    const bool isRaw = info.media_subtype == SPA_MEDIA_SUBTYPE_raw;
    const bool isPlanar = raw.format == SPA_VIDEO_FORMAT_NV12 || raw.format == SPA_VIDEO_FORMAT_I420;
    const int bytes = isPlanar ? 1 : raw.format == SPA_VIDEO_FORMAT_YUY2 ? 2 : 4;
    self.stride = isRaw ? bytes * static_cast<int>(raw.size.width) : 0;
    self.size = static_cast<std::size_t>(self.stride) * raw.size.height * (isPlanar ? 3 : 2) / 2;
    if (!isRaw)
        self.size = self.picture.size();
    std::uint8_t memory[1024];
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(memory, sizeof memory);
    const spa_pod* params[]
        = {static_cast<spa_pod*>(spa_pod_builder_add_object(&builder, SPA_TYPE_OBJECT_ParamBuffers,
               SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_size, SPA_POD_Int(static_cast<int>(self.size)),
               SPA_PARAM_BUFFERS_stride, SPA_POD_Int(self.stride), SPA_PARAM_BUFFERS_dataType,
               SPA_POD_CHOICE_FLAGS_Int(1 << (ownsMemory(self) ? SPA_DATA_MemFd : SPA_DATA_MemPtr)))),
            static_cast<spa_pod*>(spa_pod_builder_add_object(&builder, SPA_TYPE_OBJECT_ParamMeta,
                SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(SPA_META_Header), SPA_PARAM_META_size,
                SPA_POD_Int(sizeof(spa_meta_header))))};
    pw_stream_update_params(self.stream, params, self.option("header", "yes") == "yes" ? 2 : 1);
}

void allocate(void* data, pw_buffer* buffer)
{
    const auto& self = *static_cast<Source*>(data);
    spa_data& block = buffer->buffer->datas[0];
    block.type = SPA_DATA_MemFd;
    block.flags = SPA_DATA_FLAG_READWRITE;
    block.fd = memfd_create("frame", MFD_CLOEXEC);
    block.mapoffset = 100;
    block.maxsize = static_cast<std::uint32_t>(self.size);
    const std::size_t size = self.size + block.mapoffset;
    if (ftruncate(static_cast<int>(block.fd), static_cast<off_t>(size)) == 0)
        block.data = static_cast<std::byte*>(
                         mmap(nullptr, size, PROT_WRITE, MAP_SHARED, static_cast<int>(block.fd), 0))
            + block.mapoffset;
}

void sendFrame(void* data)
{
    auto& self = *static_cast<Source*>(data);
    if (self.number >= std::stoull(self.option("count", "1000000")))
        return;
    pw_buffer* buffer = pw_stream_dequeue_buffer(self.stream);
    if (!buffer)
        return;
    spa_data& block = buffer->buffer->datas[0];
    std::memset(block.data, static_cast<int>(self.number), self.size);
    std::memcpy(block.data, self.picture.data(), std::min(self.picture.size(), self.size));
    *block.chunk
        = {.offset = 0, .size = static_cast<std::uint32_t>(self.size), .stride = self.stride, .flags = 0};
    if (void* header = spa_buffer_find_meta_data(buffer->buffer, SPA_META_Header, sizeof(spa_meta_header))) {
        *static_cast<spa_meta_header*>(header) = {.flags = 0,
            .offset = 0,
            .pts = static_cast<std::int64_t>(now()),
            .dts_offset = 0,
            .seq = self.number};
    }
    ++self.number;
    self.log.put('.').flush();
    pw_stream_queue_buffer(self.stream, buffer);
}

void sendSound(void* data)
{
    auto& self = *static_cast<Source*>(data);
    pw_buffer* buffer = pw_stream_dequeue_buffer(self.stream);
    if (!buffer)
        return;
    const std::uint32_t bytes = isTone(self) ? sizeof(std::int16_t) : 2 * sizeof(float);
    spa_data& block = buffer->buffer->datas[0];
    const std::uint64_t length = std::min<std::uint64_t>(block.maxsize / bytes, buffer->requested);
    for (std::uint64_t at = 0; at < length; ++at, ++self.number) {
        const float value = static_cast<float>(self.number) / (1 << 23);
        const double phase = 2 * std::numbers::pi * 1000 * static_cast<double>(self.number) / 44100;
        if (isTone(self))
            static_cast<std::int16_t*>(block.data)[at] = static_cast<std::int16_t>(16384 * std::sin(phase));
        else
            static_cast<std::array<float, 2>*>(block.data)[at] = {value, -value};
    }
    *block.chunk = {.offset = 0,
        .size = static_cast<std::uint32_t>(length) * bytes,
        .stride = static_cast<int>(bytes),
        .flags = 0};
    ++self.sent;
    pw_stream_queue_buffer(self.stream, buffer);
}

constexpr timespec patience{.tv_sec = 1, .tv_nsec = 0};

/// The next frame, an interval after the listeners have taken the last: see `sendNextSound`.
void sendNextFrame(void* data)
{
    auto& self = *static_cast<Source*>(data);
    timespec interval{.tv_sec = 0, .tv_nsec = 1'000'000'000 / std::stol(self.option("rate", "100")) - 1};
    timespec again = patience;
    pw_loop_update_timer(pw_main_loop_get_loop(self.loop), self.timer, &interval, &again, false);
}

/// The next sound, when it is due and the listeners have taken the last: one that is late misses none. A listener that
/// leaves meanwhile is waited for a second.
void sendNextSound(void* data)
{
    auto& self = *static_cast<Source*>(data);
    pw_loop* loop = pw_main_loop_get_loop(self.loop);
    if (self.sent >= std::stoull(self.option("count", "1000000"))) {
        pw_loop_update_timer(loop, self.timer, nullptr, nullptr, false);
        return;
    }
    const std::uint64_t due = self.start + self.number * 1'000'000'000 / (isTone(self) ? 44100 : 48000);
    timespec again = patience;
    timespec time{.tv_sec = static_cast<time_t>(due / 1'000'000'000),
        .tv_nsec = static_cast<long>(due % 1'000'000'000)};
    pw_loop_update_timer(loop, self.timer, &time, &again, true);
}

void setPace(void* data, pw_stream_state, pw_stream_state state, const char*)
{
    auto& self = *static_cast<Source*>(data);
    if (state == PW_STREAM_STATE_STREAMING && self.options.contains("sound")) {
        self.start = now() - self.number * 1'000'000'000 / (isTone(self) ? 44100 : 48000);
        sendNextSound(data);
    } else if (state == PW_STREAM_STATE_STREAMING) {
        sendNextFrame(data);
    } else {
        pw_loop_update_timer(pw_main_loop_get_loop(self.loop), self.timer, nullptr, nullptr, false);
    }
    if (state == PW_STREAM_STATE_ERROR)
        pw_main_loop_quit(self.loop);
}

const spa_pod* offer(spa_pod_builder& builder, const std::string& mode, unsigned rate)
{
    const std::string name = mode.substr(0, 4);
    spa_rectangle size{};
    std::sscanf(mode.c_str() + 5, "%ux%u", &size.width, &size.height);
    const spa_fraction pace{rate, 1};
    spa_pod_frame frame{};
    spa_pod_builder_push_object(&builder, &frame, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
    const bool isRaw = name != "MJPG";
    spa_pod_builder_add(&builder, SPA_FORMAT_mediaType, SPA_POD_Id(SPA_MEDIA_TYPE_video),
        SPA_FORMAT_mediaSubtype, SPA_POD_Id(isRaw ? SPA_MEDIA_SUBTYPE_raw : SPA_MEDIA_SUBTYPE_mjpg),
        SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&size), SPA_FORMAT_VIDEO_framerate, SPA_POD_Fraction(&pace),
        0);
    if (isRaw)
        spa_pod_builder_add(&builder, SPA_FORMAT_VIDEO_format,
            SPA_POD_Id(spa_debug_type_find_type_short(spa_type_video_format, name.c_str())), 0);
    return static_cast<spa_pod*>(spa_pod_builder_pop(&builder, &frame));
}

} // namespace

int main(int count, char** arguments)
{
    pw_init(&count, &arguments);
    Source self;
    pw_properties* properties
        = pw_properties_new(PW_KEY_MEDIA_CLASS, "Video/Source", PW_KEY_MEDIA_ROLE, "Camera", nullptr);
    for (int index = 1; index < count; ++index) {
        const std::string pair = arguments[index];
        const std::string key = pair.substr(0, pair.find('='));
        const std::string value = pair.substr(key.size() + 1);
        if (key.contains('.'))
            pw_properties_set(properties, key.c_str(), value.c_str());
        self.options[key] = value;
    }
    std::ifstream picture(self.option("picture", ""), std::ios::binary);
    self.picture.assign(std::istreambuf_iterator<char>(picture), {});
    self.log.open(self.option("log", "/dev/null"), std::ios::trunc);
    self.loop = pw_main_loop_new(nullptr);
    pw_loop* loop = pw_main_loop_get_loop(self.loop);
    self.timer = pw_loop_add_timer(
        loop,
        [](void* data, std::uint64_t) { pw_stream_trigger_process(static_cast<Source*>(data)->stream); },
        &self);
    const bool isSound = self.options.contains("sound");
    if (isSound)
        pw_properties_set(properties, PW_KEY_MEDIA_CLASS, "Audio/Source");
    pw_stream_events events{};
    events.version = PW_VERSION_STREAM_EVENTS;
    events.state_changed = setPace;
    if (!isSound)
        events.param_changed = setFormat;
    if (ownsMemory(self))
        events.add_buffer = allocate;
    events.process = isSound ? sendSound : sendFrame;
    events.trigger_done = isSound ? sendNextSound : sendNextFrame;
    self.stream = pw_stream_new_simple(loop, "source", properties, &events, &self);
    std::uint8_t memory[4096];
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(memory, sizeof memory);
    std::vector<const spa_pod*> offers;
    if (isSound) {
        spa_audio_info_raw info{};
        info.format = isTone(self) ? SPA_AUDIO_FORMAT_S16 : SPA_AUDIO_FORMAT_F32;
        info.rate = isTone(self) ? 44100 : 48000;
        info.channels = isTone(self) ? 1 : 2;
        info.position[0] = isTone(self) ? SPA_AUDIO_CHANNEL_MONO : SPA_AUDIO_CHANNEL_FL;
        info.position[1] = SPA_AUDIO_CHANNEL_FR;
        offers.push_back(spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &info));
        spa_latency_info delay{};
        delay.direction = SPA_DIRECTION_OUTPUT;
        delay.min_ns = delay.max_ns = std::stoull(self.option("delay", "0"));
        offers.push_back(spa_latency_build(&builder, SPA_PARAM_Latency, &delay));
    }
    std::istringstream modes(isSound ? "" : self.option("modes", "BGRx:64x48"));
    for (std::string mode; std::getline(modes, mode, ',');)
        offers.push_back(offer(builder, mode, static_cast<unsigned>(std::stoul(self.option("rate", "100")))));
    pw_stream_connect(self.stream, PW_DIRECTION_OUTPUT, PW_ID_ANY,
        static_cast<pw_stream_flags>(PW_STREAM_FLAG_DRIVER
            | (ownsMemory(self) ? PW_STREAM_FLAG_ALLOC_BUFFERS : PW_STREAM_FLAG_MAP_BUFFERS)),
        offers.data(), static_cast<std::uint32_t>(offers.size()));
    pw_main_loop_run(self.loop);
}
