// Whole streams through the example decoder: every frame's MD5 against the
// reference decoder's, and damaged streams that must fail cleanly.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "../../examples/h264dec/decoder.h"
#include "../../examples/h264dec/md5.h"

namespace {

std::string data_dir() {
    std::string here = __FILE__;
    return here.substr(0, here.rfind('/')) + "/../data/h264/";
}

std::vector<std::uint8_t> read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

struct Stream {
    std::string file, features;
    int frames = 0;
};

std::vector<Stream> manifest() {
    std::vector<Stream> out;
    std::ifstream in(data_dir() + "manifest.tsv");
    std::string line;
    std::getline(in, line);  // header
    while (std::getline(in, line)) {
        std::istringstream f(line);
        Stream s;
        std::string width, height, pix_fmt, md5;
        f >> s.file >> width >> height >> pix_fmt >> s.frames >> md5 >> s.features;
        if (!s.file.empty()) out.push_back(s);
    }
    return out;
}

// The hashes of a framemd5 file, in order.
std::vector<std::string> reference_hashes(const std::string& path) {
    std::vector<std::string> out;
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line))
        if (!line.empty() && line[0] != '#') out.push_back(line.substr(line.rfind(' ') + 1));
    return out;
}

struct Result {
    bool ok = false;
    std::string error;
    std::vector<std::string> hashes;
};

Result decode(const std::vector<std::uint8_t>& bytes) {
    Result r;
    h264dec::Decoder decoder;
    std::vector<std::uint8_t> frame;
    decoder.on_output = [&](const h264dec::Picture& pic, const h264dec::Sps& sps) {
        int w = 0, h = 0;
        h264dec::crop_frame(pic, sps, frame, w, h);
        h264dec::Md5 md5;
        md5.update(frame.data(), frame.size());
        r.hashes.push_back(md5.hex());
    };
    r.ok = h264dec::decode_annexb(decoder, bytes.data(), bytes.size());
    r.error = decoder.error();
    return r;
}

class Conformance : public ::testing::TestWithParam<Stream> {};

TEST_P(Conformance, EveryFrameMatchesTheReference) {
    const Stream& s = GetParam();
    const Result r = decode(read_file(data_dir() + s.file));
    ASSERT_TRUE(r.ok) << r.error;
    const std::string base = s.file.substr(0, s.file.rfind('.'));
    const std::vector<std::string> expected = reference_hashes(data_dir() + base + ".framemd5");
    ASSERT_EQ(expected.size(), static_cast<std::size_t>(s.frames));
    ASSERT_EQ(r.hashes.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(r.hashes[i], expected[i]) << "frame " << i;
}

INSTANTIATE_TEST_SUITE_P(H264, Conformance, ::testing::ValuesIn(manifest()),
                         [](const ::testing::TestParamInfo<Stream>& info) {
                             return info.param.file.substr(0, info.param.file.find('_'));
                         });

// Cut and damaged copies of the streams: the decoder may stop with an
// error or give fewer frames, but must neither crash nor read or write out of
// bounds (the sanitizer build checks that) nor hang.
TEST(Damaged, CutAndFlippedStreamsFailCleanly) {
    std::uint32_t rng = 12345;
    auto next = [&rng] {
        rng = rng * 1664525u + 1013904223u;
        return rng >> 8;
    };
    int cases = 0;
    for (const Stream& s : manifest()) {
        const std::vector<std::uint8_t> original = read_file(data_dir() + s.file);
        for (int k = 0; k < 4; ++k, ++cases) {
            std::vector<std::uint8_t> bytes = original;
            if (k == 0) {
                bytes.resize(next() % bytes.size());
            } else {
                const int flips = k == 1 ? 1 : k == 2 ? 8 : 64;
                for (int f = 0; f < flips; ++f) bytes[200 + next() % (bytes.size() - 200)] ^= 1u << (next() % 8);
            }
            const Result r = decode(bytes);
            EXPECT_LE(r.hashes.size(), static_cast<std::size_t>(s.frames) + 16) << s.file << " case " << k;
            if (!r.ok) {
                EXPECT_FALSE(r.error.empty());
            }
        }
    }
    EXPECT_GE(cases, 56);
}

// A High-profile sequence parameter set of a 16x16 picture, as an Annex B
// stream of its own.
std::vector<std::uint8_t> high_sps(int profile, int chroma_format, int depth, bool bypass) {
    std::vector<std::uint8_t> out = {0, 0, 0, 1, 0x67};
    std::uint32_t acc = 0;
    int n = 0;
    auto put = [&](std::uint32_t v, int bits) {
        for (int i = bits - 1; i >= 0; --i) {
            acc = (acc << 1) | ((v >> i) & 1);
            if (++n == 8) out.push_back(static_cast<std::uint8_t>(acc)), acc = 0, n = 0;
        }
    };
    auto ue = [&](std::uint32_t v) {
        int len = 0;
        while ((v + 1) >> (len + 1)) ++len;
        put(0, len);
        put(v + 1, len + 1);
    };
    put(static_cast<std::uint32_t>(profile), 8);
    put(0, 8);
    put(40, 8);
    ue(0);  // id
    ue(static_cast<std::uint32_t>(chroma_format));
    if (chroma_format == 3) put(0, 1);
    ue(static_cast<std::uint32_t>(depth - 8));
    ue(static_cast<std::uint32_t>(depth - 8));
    put(bypass, 1);
    put(0, 1);  // no scaling matrices
    ue(0);      // log2_max_frame_num - 4
    ue(2);      // POC type 2
    ue(1);      // one reference frame
    put(0, 1);
    ue(0);
    ue(0);
    put(0b1100, 4);  // frames only, direct 8x8 inference, no cropping, no VUI
    put(1, 1);       // stop bit
    while (n) put(0, 1);
    return out;
}

TEST(ParameterSets, HighFeaturesOutsideScopeAreNamed) {
    const struct {
        int profile, chroma_format, depth;
        bool bypass;
        const char* error;  // empty: accepted
    } cases[] = {
        {244, 3, 8, false, "4:4:4"},
        {110, 1, 12, false, "bit depth 12"},
        {244, 1, 8, true, "lossless"},
        {122, 2, 10, false, ""},
        {100, 0, 8, false, ""},
        {110, 1, 9, false, ""},
    };
    for (const auto& c : cases) {
        const Result r = decode(high_sps(c.profile, c.chroma_format, c.depth, c.bypass));
        EXPECT_EQ(r.ok, !*c.error) << c.profile << " " << c.error << ": " << r.error;
        if (*c.error) {
            EXPECT_NE(r.error.find(std::string("unsupported feature: ") + c.error), std::string::npos) << r.error;
        }
        EXPECT_TRUE(r.hashes.empty());
    }
}

}  // namespace
