// Real DV frames decoded with this library: segments decoded, blocks
// dequantised and inverse-transformed here (in double precision), stored with
// the conversions, and compared with the picture a separate DV decoder
// (Debian's ffmpeg) makes of the same frame. Skipped when ffmpeg is absent.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "dv_writer.h"
#include "vekvc.h"

namespace {

using namespace vek::dv::test;

// Output of an ffmpeg command line as bytes; empty without ffmpeg.
std::vector<std::uint8_t> run_ffmpeg(const std::string& args) {
    const std::string cmd = "ffmpeg -v quiet " + args + " -f rawvideo - 2>/dev/null";
    FILE* p = popen(cmd.c_str(), "r");
    if (!p) return {};
    std::vector<std::uint8_t> out;
    std::uint8_t buf[65536];
    for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;) out.insert(out.end(), buf, buf + n);
    pclose(p);
    return out;
}

// Quantisation step exponent by (quantisation number + class offset) and
// area; class 3 shifts once more. Areas split the scan at 6, 21 and 43.
constexpr int kShift[22][4] = {{3, 3, 4, 4}, {3, 3, 4, 4}, {2, 3, 3, 4}, {2, 3, 3, 4}, {2, 2, 3, 3}, {2, 2, 3, 3},
                               {1, 2, 2, 3}, {1, 2, 2, 3}, {1, 1, 2, 2}, {1, 1, 2, 2}, {0, 1, 1, 2}, {0, 1, 1, 2},
                               {0, 0, 1, 1}, {0, 0, 1, 1}, {0, 0, 0, 1}, {0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0},
                               {0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}};
constexpr int kClassOffset[4] = {6, 3, 0, 1};
constexpr int kScan[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
                           41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
                           30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

// Weight a coefficient of frequencies (h, v) was multiplied by before
// quantisation: w(h) w(v) / 2, and 1/4 for the DC.
double weight(int h, int v) {
    const auto cs = [](int i) { return std::cos(i * M_PI / 16); };
    const double w[8] = {1, cs(4) / (4 * cs(7) * cs(2)), cs(4) / (2 * cs(6)), 1 / (2 * cs(5)), 7.0 / 8,
                         cs(4) / cs(3), cs(4) / cs(2), cs(4) / cs(1)};
    return h == 0 && v == 0 ? 0.25 : w[h] * w[v] / 2;
}

// Samples less 128 of one 8x8 block from its decoded levels.
void reconstruct(const Vek16s* coef, Vek32u param, Vek16s* out) {
    const int cls = (param >> 4) & 3, qno = (param >> 16) & 15;
    double f[64];
    for (int pos = 0; pos < 64; ++pos) {
        const int raster = kScan[pos], h = raster % 8, v = raster / 8;
        if (pos == 0) {
            f[raster] = coef[0] / 128.0 / weight(0, 0);
            continue;
        }
        const int area = pos < 6 ? 0 : pos < 21 ? 1 : pos < 43 ? 2 : 3;
        const int shift = kShift[qno + kClassOffset[cls]][area] + (cls == 3);
        f[raster] = coef[raster] / 64.0 * (1 << shift) / weight(h, v);
    }
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) {
            double s = 0;
            for (int v = 0; v < 8; ++v)
                for (int h = 0; h < 8; ++h)
                    s += (h ? 1 : M_SQRT1_2) * (v ? 1 : M_SQRT1_2) / 4 * f[8 * v + h] *
                         std::cos((2 * x + 1) * h * M_PI / 16) * std::cos((2 * y + 1) * v * M_PI / 16);
            out[8 * y + x] = static_cast<Vek16s>(std::lround(s));
        }
}

double psnr(double sse, double count) { return 10 * std::log10(255.0 * 255.0 * count / std::max(sse, 1e-9)); }

// Each macroblock is located by its luma in the other decoder's picture (the
// placement of macroblocks in a frame is the caller's business, not the
// library's). The macroblocks must tile the picture exactly and match it.
TEST(DvFrame, MatchesAnotherDecoder) {
    const struct {
        const char* file;
        const char* pix_fmt;
        int width, height, segments;
        int chroma_w, chroma_h;  // the other decoder's chroma plane is width / chroma_w by height / chroma_h
        int (*chroma_row)(int y0, int y);  // its chroma row for row y of a macroblock at row y0
    } cases[] = {
        {"ntsc_411.dv", "yuv411p", 720, 480, 270, 4, 1, [](int y0, int y) { return y0 + y; }},
        // 4:2:0 fields repeat their own chroma rows: 0 1 0 1 2 3 2 3 ...
        {"pal_420.dv", "yuv420p", 720, 576, 324, 2, 2, [](int y0, int y) { return y0 / 2 + 2 * (y / 4) + y % 2; }},
    };
    for (const auto& c : cases) {
        const int kW = c.width, kH = c.height;
        const auto other = run_ffmpeg("-f dv -i '" + data_path(c.file).string() + "' -pix_fmt " + c.pix_fmt);
        const std::size_t chroma = std::size_t(kW / c.chroma_w) * std::size_t(kH / c.chroma_h);
        if (other.size() != std::size_t(kW) * kH + 2 * chroma) GTEST_SKIP() << "ffmpeg is not available";
        const std::uint8_t* oy = other.data();
        const std::uint8_t* oc[2] = {oy + kW * kH, oy + kW * kH + chroma};
        const bool is411 = c.chroma_w == 4;

        const std::vector<std::uint8_t> video = video_difs(read_data(c.file));
        ASSERT_EQ(video.size(), std::size_t(400 * c.segments));

        std::vector<int> cover(std::size_t(kW / 16) * (kH / 8), 0);  // rows placed per 16x8 cell
        double sse_y = 0, sse_c = 0;
        for (int s = 0; s < c.segments; ++s) {
            std::vector<Vek16s> coef(64 * 30), samples(64 * 30);
            std::vector<Vek32u> param(30);
            vekiHuffmanDecodeSegment_DV_8u16s(video.data() + 400 * s, nullptr, nullptr, coef.data(), param.data());
            for (int b = 0; b < 30; ++b) {
                ASSERT_EQ(param[std::size_t(b)] & 0x40, 0u) << "8-8 blocks only";
                reconstruct(coef.data() + 64 * b, param[std::size_t(b)], samples.data() + 64 * b);
            }
            // Every macroblock in both shapes: 32x8 or 16x16 (step 64), and 16x16 edge (step 32).
            std::vector<Vek8u> main(5 * 64 * 16), edge(5 * 32 * 16);
            const Vek16s* src[5];
            Vek8u* dst[5];
            for (int m = 0; m < 5; ++m) {
                src[m] = samples.data() + 6 * 64 * m;
                dst[m] = main.data() + 64 * 16 * m;
                vekiYCrCb411ToYCbCr422_EdgeDV_16s8u_P3C2R(src[m], edge.data() + 32 * 16 * m, 32);
            }
            (is411 ? vekiYCrCb411ToYCbCr422_5MBDV_16s8u_P3C2R : vekiYCrCb420ToYCbCr422_5MBDV_16s8u_P3C2R)(src, dst, 64);
            for (int m = 0; m < 5; ++m) {
                struct Shape {
                    const Vek8u* px;
                    int w, h, step, x_from, x_to, y_step;
                };
                const Shape shapes[2] = {{main.data() + 64 * 16 * m, is411 ? 32 : 16, is411 ? 8 : 16, 64, 0, is411 ? kW - 16 : kW, is411 ? 8 : 16},
                                         {edge.data() + 32 * 16 * m, 16, 16, 32, kW - 16, is411 ? kW : 0, 8}};
                double best = 1e30;
                const Shape* at = nullptr;
                int bx = 0, by = 0;
                for (const Shape& sh : shapes)
                    for (int y0 = 0; y0 + sh.h <= kH; y0 += sh.y_step)
                        for (int x0 = sh.x_from; x0 + sh.w <= sh.x_to; x0 += sh.w) {
                            // Flat macroblocks match in many places: taken places cost extra.
                            double sse = cover[std::size_t(y0 / 8 * (kW / 16) + x0 / 16)] ? 1e12 : 0;
                            for (int y = 0; y < sh.h && sse < best; ++y)
                                for (int x = 0; x < sh.w; ++x) {
                                    const double d = sh.px[y * sh.step + 2 * x] - oy[(y0 + y) * kW + x0 + x];
                                    sse += d * d;
                                }
                            if (sse < best) best = sse, at = &sh, bx = x0, by = y0;
                        }
                sse_y += best;
                for (int y = 0; y < at->h; ++y) {
                    for (int x = 0; x < at->w; x += 16) ++cover[std::size_t((by + y) / 8 * (kW / 16) + (bx + x) / 16)];
                    // Pixel pair i holds chroma column i of 4:2:0; of 4:1:1 the even pairs hold columns i / 2.
                    for (int i = 0; i < at->w / 2; i += is411 ? 2 : 1)
                        for (int k = 0; k < 2; ++k) {
                            const int col = bx / c.chroma_w + (is411 ? i / 2 : i);
                            const double d = at->px[y * at->step + 4 * i + 1 + 2 * k] -
                                             oc[k][c.chroma_row(by, y) * (kW / c.chroma_w) + col];
                            sse_c += d * d;
                        }
                }
            }
        }
        for (std::size_t i = 0; i < cover.size(); ++i) ASSERT_EQ(cover[i], 8) << c.file << " cell " << i;

        const double n = double(kW) * kH;
        // The two decoders agree to about 66 dB of luma and 50 dB of chroma; a
        // single swapped level in the code table already costs 4 dB of luma.
        EXPECT_GT(psnr(sse_y, n), 63.0) << c.file;
        EXPECT_GT(psnr(sse_c, n * 2 / c.chroma_w), 48.0) << c.file;
    }
}

}  // namespace
