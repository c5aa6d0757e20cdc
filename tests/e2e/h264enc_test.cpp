// The example encoder end to end: synthetic sequences encoded at two QPs,
// decoded by the example decoder and by ffmpeg, every frame equal to the
// encoder's own reconstruction; quality and size within bounds that a broken
// decision or search would leave.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "../../examples/h264dec/decoder.h"
#include "../../examples/h264enc/encoder.h"

namespace {

constexpr int kWidth = 112, kHeight = 80, kFrames = 8;
constexpr std::size_t kLuma = kWidth * kHeight, kFrameSize = kLuma * 3 / 2;

std::uint32_t hash(std::uint32_t x) {
    x ^= x >> 16;
    x *= 0x7feb352dU;
    x ^= x >> 15;
    x *= 0x846ca68bU;
    return x ^ (x >> 16);
}

// One frame of a sequence, planar Y, U, V.
using Generator = Vek8u (*)(int plane, int x, int y, int t);

Vek8u gradient(int plane, int x, int y, int t) {  // drifting gradient under a moving texture
    const double v = plane ? 128 + 40 * std::sin((x + t) / 5.0) + y
                           : 40 + 1.1 * (x + 2 * t) + 0.9 * y +
                                 35 * std::sin((x + 3 * t) / 7.0) * std::cos((y + t) / 5.0) +
                                 static_cast<int>(hash((y + t) * 977 + x + 2 * t) % 31) - 15;
    return static_cast<Vek8u>(std::fmin(255, std::fmax(0, v)));
}

Vek8u panning(int plane, int x, int y, int t) {  // checkers panning 2.5 and 1.25 samples a frame in whole steps
    const int s = plane ? 2 : 1, px = x * s + 10 * t / 4, py = y * s + 5 * t / 4;
    if (plane) return static_cast<Vek8u>(128 + 50 * std::sin(px / 9.0) * std::cos(py / 11.0));
    return static_cast<Vek8u>(((px / 8 + py / 8) % 2) * 140 + 50 + (px * 7 + py * 13) % 23);
}

Vek8u noise(int plane, int x, int y, int t) {
    return static_cast<Vek8u>(hash((t * 3 + plane) * 65536 + y * 256 + x));
}

// Black, white and hard checkers in turn: large levels, escape codes and
// intra macroblocks all over P pictures.
Vek8u flashing(int plane, int x, int y, int t) {
    const int on = t % 3 == 0 ? (t + 1) & 1 : t % 3 == 1 ? (x / 4 + y / 4 + t + plane) & 1 : (x + y) & 1;
    return static_cast<Vek8u>(on * 255);
}

std::vector<Vek8u> sequence(Generator g) {
    std::vector<Vek8u> out;
    for (int t = 0; t < kFrames; ++t)
        for (int plane = 0; plane < 3; ++plane)
            for (int y = 0; y < (plane ? kHeight / 2 : kHeight); ++y)
                for (int x = 0; x < (plane ? kWidth / 2 : kWidth); ++x) out.push_back(g(plane, x, y, t));
    return out;
}

struct Encoded {
    std::vector<std::uint8_t> stream;
    std::vector<std::vector<Vek8u>> recon;  // packed planar frames
    double psnr_y = 0, kbits = 0;
};

Encoded encode(const std::vector<Vek8u>& frames, int qp) {
    h264enc::Encoder enc({kWidth, kHeight, qp});
    Encoded e;
    std::uint64_t sse = 0;
    for (int t = 0; t < kFrames; ++t) {
        const Vek8u* y = frames.data() + t * kFrameSize;
        const h264enc::FrameStats st = enc.encode(y, y + kLuma, y + kLuma * 5 / 4, e.stream);
        EXPECT_TRUE(st.ok) << "frame " << t;
        const h264enc::Frame& rec = enc.reconstruction();
        sse += h264enc::squared_error(rec.y, y);
        std::vector<Vek8u>& f = e.recon.emplace_back();
        for (const h264enc::Plane* p : {&rec.y, &rec.u, &rec.v})
            for (int row = 0; row < p->height; ++row) f.insert(f.end(), p->at(0, row), p->at(0, row) + p->width);
    }
    e.psnr_y = h264enc::psnr(sse, kLuma * kFrames);
    e.kbits = e.stream.size() * 8.0 * 25 / kFrames / 1000;
    return e;
}

struct Case {
    const char* name;
    Generator generator;
    int qp;
    double min_psnr, max_kbits;
};

const Case kCases[] = {
    {"gradient_qp24", gradient, 24, 37.0, 200}, {"gradient_qp36", gradient, 36, 27.5, 36},
    {"panning_qp22", panning, 22, 39.0, 215},   {"panning_qp34", panning, 34, 29.4, 60},
    {"noise_qp40", noise, 40, 21.0, 1100},      {"noise_qp48", noise, 48, 13.3, 620},
    {"flashing_qp2", flashing, 2, 63.5, 1450},  {"flashing_qp30", flashing, 30, 36.7, 700},
};

class H264Enc : public ::testing::TestWithParam<Case> {};

TEST_P(H264Enc, ExampleDecoderGivesTheReconstruction) {
    const Case& c = GetParam();
    const Encoded e = encode(sequence(c.generator), c.qp);
    std::printf("%s: PSNR Y %.2f dB, %.1f kbit/s at 25 fps\n", c.name, e.psnr_y, e.kbits);
    EXPECT_GE(e.psnr_y, c.min_psnr);
    EXPECT_LE(e.kbits, c.max_kbits);

    h264dec::Decoder decoder;
    std::vector<std::vector<Vek8u>> decoded;
    decoder.on_output = [&](const h264dec::Picture& pic, const h264dec::Sps& sps) {
        int w = 0, h = 0;
        h264dec::crop_frame(pic, sps, decoded.emplace_back(), w, h);
    };
    ASSERT_TRUE(h264dec::decode_annexb(decoder, e.stream.data(), e.stream.size())) << decoder.error();
    ASSERT_EQ(decoded.size(), e.recon.size());
    for (std::size_t t = 0; t < decoded.size(); ++t) EXPECT_TRUE(decoded[t] == e.recon[t]) << "frame " << t;
}

TEST_P(H264Enc, FfmpegGivesTheReconstruction) {
    if (access("/usr/bin/ffmpeg", X_OK) != 0) GTEST_SKIP() << "no /usr/bin/ffmpeg";
    const Case& c = GetParam();
    const Encoded e = encode(sequence(c.generator), c.qp);
    char path[] = "/tmp/h264enc_testXXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(write(fd, e.stream.data(), e.stream.size()), static_cast<ssize_t>(e.stream.size()));
    close(fd);
    const std::string cmd = std::string("/usr/bin/ffmpeg -v error -i ") + path + " -f rawvideo -pix_fmt yuv420p -";
    std::FILE* pipe = popen(cmd.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::vector<Vek8u> out;
    Vek8u buf[65536];
    for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, pipe)) > 0;) out.insert(out.end(), buf, buf + n);
    pclose(pipe);
    unlink(path);
    ASSERT_EQ(out.size(), kFrameSize * kFrames);
    for (int t = 0; t < kFrames; ++t)
        EXPECT_TRUE(std::equal(e.recon[t].begin(), e.recon[t].end(), out.begin() + t * kFrameSize)) << "frame " << t;
}

INSTANTIATE_TEST_SUITE_P(Synthetic, H264Enc, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<Case>& info) { return std::string(info.param.name); });

}  // namespace
