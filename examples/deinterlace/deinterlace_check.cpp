// Test of the deinterlace example: makes a small interlaced sequence (a bright
// square moving over a still gradient, each field sampled at its own time),
// runs the example with every method and both field orders, and checks the
// output's size, that the kept field is untouched (but by the triangle filter)
// and that the combing of the moving square is at least halved.
//
//   deinterlace_check PATH_TO_DEINTERLACE WORK_DIR
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

constexpr int kWidth = 64, kHeight = 48, kFrames = 6, kFrameBytes = kWidth * kHeight * 3 / 2;

// Frame n's first field is at time 2n, its second at 2n + 1; the square moves 6 samples a field.
std::vector<unsigned char> make_sequence(bool top_first) {
    std::vector<unsigned char> video;
    for (int n = 0; n < kFrames; ++n) {
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x) {
                const int t = 2 * n + ((y % 2 == 0) != top_first), left = 4 + 6 * t;
                video.push_back(x >= left && x < left + 16 && y >= 12 && y < 36 ? 230 : 40 + x + y);
            }
        video.insert(video.end(), kWidth * kHeight / 2, 128);
    }
    return video;
}

// Sum over the luma of |2 r(y) - r(y - 1) - r(y + 1)|, large where fields of different times alternate;
// with `changed`, also counts the samples of the kept field that differ from `input`.
long combing(const std::vector<unsigned char>& v, const std::vector<unsigned char>& input, int kept, long* changed) {
    long total = 0;
    for (int n = 0; n < kFrames; ++n)
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x) {
                const auto at = [&](int yy) { return int(v[std::size_t(n * kFrameBytes + yy * kWidth + x)]); };
                if (y % 2 == kept) *changed += at(y) != input[std::size_t(n * kFrameBytes + y * kWidth + x)];
                if (y > 0 && y + 1 < kHeight) total += std::abs(2 * at(y) - at(y - 1) - at(y + 1));
            }
    return total;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return std::fprintf(stderr, "usage: deinterlace_check PATH_TO_DEINTERLACE WORK_DIR\n"), 2;
    const std::string in_path = std::string(argv[2]) + "/interlaced.yuv", out_path = std::string(argv[2]) + "/out.yuv";
    int failures = 0;
    for (const bool top_first : {true, false}) {
        const std::vector<unsigned char> input = make_sequence(top_first);
        std::ofstream(in_path, std::ios::binary).write(reinterpret_cast<const char*>(input.data()), long(input.size()));
        long unused = 0;
        const long before = combing(input, input, 0, &unused);
        for (const std::string method : {"edge", "median", "blend", "motion", "triangle"}) {
            const std::string what = method + (top_first ? " tff" : " bff");
            char command[1024];
            std::snprintf(command, sizeof command, "\"%s\" \"%s\" \"%s\" %d %d %s %s", argv[1], in_path.c_str(),
                          out_path.c_str(), kWidth, kHeight, top_first ? "tff" : "bff", method.c_str());
            std::remove(out_path.c_str());
            if (std::system(command) != 0) {
                std::fprintf(stderr, "FAIL %s: the example failed\n", what.c_str());
                ++failures;
                continue;
            }
            std::ifstream f(out_path, std::ios::binary);
            const std::vector<unsigned char> output{std::istreambuf_iterator<char>(f), {}};
            long changed = 0;
            const long after = output.size() == input.size() ? combing(output, input, top_first ? 0 : 1, &changed) : -1;
            std::printf("%-13s combing %6ld -> %6ld, kept samples changed %ld\n", what.c_str(), before, after, changed);
            if (after < 0 || after * 2 > before || (method != "triangle" && changed != 0)) {
                std::fprintf(stderr, "FAIL %s\n", what.c_str());
                ++failures;
            }
        }
    }
    return failures == 0 ? 0 : 1;
}
