// SPDX-License-Identifier: Proprietary
#include "ComparisonPlot.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace vorel {
namespace bench {
namespace {

const cv::Size kCanvas(900, 560);
const cv::Rect kArea(80, 30, 640, 460);  // the plotting area; the legend goes to its right
const cv::Scalar kInk(40, 40, 40), kGrid(215, 215, 215);
const cv::Scalar kColours[] = {{200, 90, 20}, {30, 150, 230}, {60, 170, 60}, {50, 50, 210}, {160, 60, 160},
                               {120, 120, 0}, {0, 110, 170}, {90, 90, 90}};

void text(cv::Mat& canvas, const std::string& line, cv::Point at, double scale = 0.45) {
    cv::putText(canvas, line, at, cv::FONT_HERSHEY_SIMPLEX, scale, kInk, 1, cv::LINE_AA);
}

}  // namespace

ComparisonPlot::ComparisonPlot(std::vector<Mark> marks) : marks_(std::move(marks)) {}

cv::Mat ComparisonPlot::render() const {
    cv::Mat canvas(kCanvas, CV_8UC3, cv::Scalar::all(255));
    if (marks_.empty()) return canvas;
    double lowTime = marks_.front().milliseconds, highTime = lowTime;
    double lowPsnr = marks_.front().psnr, highPsnr = lowPsnr;
    for (const Mark& mark : marks_) {
        lowTime = std::min(lowTime, mark.milliseconds);
        highTime = std::max(highTime, mark.milliseconds);
        lowPsnr = std::min(lowPsnr, mark.psnr);
        highPsnr = std::max(highPsnr, mark.psnr);
    }
    // Whole decades of time and whole dB, with a little room around the marks.
    const int firstDecade = static_cast<int>(std::floor(std::log10(lowTime)));
    const int lastDecade = std::max(firstDecade + 1, static_cast<int>(std::ceil(std::log10(highTime))));
    const double bottom = std::floor(lowPsnr) - 1.0, top = std::ceil(highPsnr) + 1.0;
    const auto place = [&](double ms, double psnr) {
        const double x = (std::log10(ms) - firstDecade) / (lastDecade - firstDecade);
        const double y = (psnr - bottom) / (top - bottom);
        return cv::Point(kArea.x + cvRound(x * kArea.width), kArea.y + kArea.height - cvRound(y * kArea.height));
    };

    for (int decade = firstDecade; decade <= lastDecade; ++decade) {
        const cv::Point at = place(std::pow(10.0, decade), bottom);
        cv::line(canvas, at, {at.x, kArea.y}, kGrid);
        char label[32];
        std::snprintf(label, sizeof label, "%g", std::pow(10.0, decade));
        text(canvas, label, at + cv::Point(-12, 20));
    }
    for (int db = static_cast<int>(bottom); db <= static_cast<int>(top); db += 2) {
        const cv::Point at = place(std::pow(10.0, firstDecade), db);
        cv::line(canvas, at, {kArea.x + kArea.width, at.y}, kGrid);
        text(canvas, std::to_string(db), at + cv::Point(-30, 5));
    }
    cv::rectangle(canvas, kArea, kInk);
    text(canvas, "time per output frame [ms], one thread", {kArea.x + 180, kCanvas.height - 18}, 0.5);
    text(canvas, "PSNR [dB]", {10, kArea.y - 10}, 0.5);

    std::vector<std::string> methods;
    for (const Mark& mark : marks_)
        if (std::find(methods.begin(), methods.end(), mark.method) == methods.end()) methods.push_back(mark.method);
    for (const Mark& mark : marks_) {
        const size_t index = std::find(methods.begin(), methods.end(), mark.method) - methods.begin();
        const cv::Point at = place(mark.milliseconds, mark.psnr);
        cv::circle(canvas, at, 6, kColours[index % std::size(kColours)], cv::FILLED, cv::LINE_AA);
        text(canvas, mark.size, at + cv::Point(9, 4), 0.38);
    }
    for (size_t i = 0; i < methods.size(); ++i) {
        const cv::Point at(kArea.x + kArea.width + 30, kArea.y + 20 + 26 * static_cast<int>(i));
        cv::circle(canvas, at, 6, kColours[i % std::size(kColours)], cv::FILLED, cv::LINE_AA);
        text(canvas, methods[i], at + cv::Point(14, 5), 0.5);
    }
    return canvas;
}

}  // namespace bench
}  // namespace vorel
