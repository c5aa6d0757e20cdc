// DV: segment decoding over the 270 segments of a real 4:1:1 frame (one
// segment a call, in turn), and the full-size conversions of one segment's
// five macroblocks at each level, through the level's kernel table.
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench_util.h"
#include "dv/convert.h"
#include "vekvc.h"

namespace {

using namespace vek::dv;

// The frame's video segments: its video DIF blocks (section type 4), five to a segment.
std::vector<std::uint8_t> segments() {
    const auto path = std::filesystem::path(__FILE__).parent_path() / ".." / "tests" / "data" / "dv" / "ntsc_411.dv";
    std::ifstream in(path, std::ios::binary);
    const std::vector<std::uint8_t> frame{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    std::vector<std::uint8_t> video;
    for (std::size_t at = 0; at + 80 <= frame.size(); at += 80)
        if ((frame[at] >> 5) == 4) video.insert(video.end(), frame.begin() + long(at), frame.begin() + long(at) + 80);
    return video;
}

// Five macroblocks of eight blocks of samples around the clamp, and five
// destinations inside one 4:2:2 picture of 720 pixels a row.
struct Picture {
    std::vector<Vek16s> src = std::vector<Vek16s>(5 * 8 * 64);
    std::vector<Vek8u> dst = std::vector<Vek8u>(1440 * 16);
    Picture() {
        std::uint32_t s = 7;
        for (auto& v : src) {
            s = s * 1664525u + 1013904223u;
            v = static_cast<Vek16s>(int(s >> 23) - 256);
        }
    }
    const Vek16s* mb(int m) const { return src.data() + m * 512; }
    Vek8u* out(int m) { return dst.data() + m * 64; }
};

[[maybe_unused]] const bool kRegistered = [] {
    benchmark::RegisterBenchmark("dv/DecodeSegment/c", [](benchmark::State& st) {
        static const std::vector<std::uint8_t> video = segments();
        const std::size_t count = video.size() / 400;
        if (count == 0) {
            st.SkipWithError("test frame missing");
            return;
        }
        std::vector<Vek16s> coef(64 * 30);
        std::vector<Vek32u> param(30);
        std::size_t i = 0;
        for (auto _ : st) {
            vekiHuffmanDecodeSegment_DV_8u16s(video.data() + 400 * i, nullptr, nullptr, coef.data(), param.data());
            if (++i == count) i = 0;
        }
        benchmark::DoNotOptimize(coef.data());
        st.SetItemsProcessed(st.iterations());
    });
    for (const auto& level : vek::bench::kLevels) {
        if (!vek::bench::level_available(level)) continue;
        const std::string suffix = std::string("/") + level.name;
        const ConvertTable t = make_convert_table(level.flags);
        const auto add = [&](const char* name, void (*run)(const ConvertTable&, Picture&)) {
            benchmark::RegisterBenchmark((std::string("dv/") + name + suffix).c_str(), [t, run](benchmark::State& st) {
                Picture p;
                for (auto _ : st) {
                    run(t, p);
                    benchmark::ClobberMemory();
                }
                st.SetItemsProcessed(st.iterations());
            });
        };
        add("YCrCb411ToYCbCr422_5MBDV", [](const ConvertTable& t, Picture& p) {
            for (int m = 0; m < 5; ++m) t.yuv411(p.mb(m), p.out(m), 1440);
        });
        add("YCrCb420ToYCbCr422_5MBDV", [](const ConvertTable& t, Picture& p) {
            for (int m = 0; m < 5; ++m) t.yuv420(p.mb(m), p.out(m), 1440);
        });
        add("YCrCb422ToYCbCr422_5MBDV", [](const ConvertTable& t, Picture& p) {
            for (int m = 0; m < 5; ++m) t.yuv422(p.mb(m), p.mb(m) + 128, p.mb(m) + 320, p.mb(m) + 256, p.out(m), 1440);
        });
        add("YCrCb411ToYCbCr422_EdgeDV", [](const ConvertTable& t, Picture& p) { t.yuv411_edge(p.mb(0), p.out(0), 1440); });
    }
    return true;
}();

}  // namespace
