// The peers the benchmarks measure Kestrova against, one thread each:
//   kestrova-peer kmeans PICTURE K       OpenCV's k-means (k-means++ centres,
//                                        one attempt, to convergence) on the
//                                        picture's distinct colours in Lab
//   kestrova-peer segment PICTURE        OpenCV's graph segmentation
//                                        (Felzenszwalb-Huttenlocher; sigma
//                                        0.8, k 20, min size 20)
// Prints the time of the algorithm alone; the whole process is what a
// process timer sees.

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/ximgproc/segmentation.hpp>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unordered_set>
#include <vector>

namespace {

double millisecondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
            .count();
}

int kmeans(const cv::Mat &picture, int k)
{
    std::unordered_set<unsigned> seen;
    std::vector<cv::Vec3b> colours;
    for (int y = 0; y < picture.rows; ++y) {
        for (int x = 0; x < picture.cols; ++x) {
            const cv::Vec3b c = picture.at<cv::Vec3b>(y, x);
            if (seen.insert(unsigned(c[0]) | unsigned(c[1]) << 8 | unsigned(c[2]) << 16).second)
                colours.push_back(c);
        }
    }
    cv::Mat bgr(int(colours.size()), 1, CV_8UC3, colours.data());
    cv::Mat lab;
    cv::cvtColor(bgr, lab, cv::COLOR_BGR2Lab);
    cv::Mat samples;
    lab.reshape(1, int(colours.size())).convertTo(samples, CV_32F);
    cv::Mat labels, centres;
    const auto start = std::chrono::steady_clock::now();
    const double compactness
            = cv::kmeans(samples, k, labels, cv::TermCriteria(cv::TermCriteria::EPS, 0, 0.0), 1,
                         cv::KMEANS_PP_CENTERS, centres);
    printf("k-means of %zu distinct colours, k = %d: %.1f ms (compactness %.0f)\n", colours.size(),
           k, millisecondsSince(start), compactness);
    return 0;
}

int segment(const cv::Mat &picture)
{
    cv::Ptr<cv::ximgproc::segmentation::GraphSegmentation> segmentation
            = cv::ximgproc::segmentation::createGraphSegmentation(0.8, 20, 20);
    cv::Mat regions;
    const auto start = std::chrono::steady_clock::now();
    segmentation->processImage(picture, regions);
    double smallest, largest;
    cv::minMaxLoc(regions, &smallest, &largest);
    printf("graph segmentation of %dx%d: %.1f ms (%.0f regions)\n", picture.cols, picture.rows,
           millisecondsSince(start), largest + 1);
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc < 3 || (strcmp(argv[1], "kmeans") && strcmp(argv[1], "segment"))) {
        fprintf(stderr, "usage: kestrova-peer kmeans PICTURE K | segment PICTURE\n");
        return 2;
    }
    cv::setNumThreads(1);
    const cv::Mat picture = cv::imread(argv[2], cv::IMREAD_COLOR);
    if (picture.empty()) {
        fprintf(stderr, "kestrova-peer: cannot read '%s'\n", argv[2]);
        return 1;
    }
    if (!strcmp(argv[1], "kmeans"))
        return kmeans(picture, argc > 3 ? atoi(argv[3]) : 30);
    return segment(picture);
}
