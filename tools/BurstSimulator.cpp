// SPDX-License-Identifier: Proprietary
#include "BurstSimulator.h"
#include "ToolError.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace vorel {
namespace tools {
namespace {

// Edges one high-resolution pixel wide: sharp, yet sampled without aliasing.
float step(float distance) { return std::clamp(distance + 0.5f, 0.0f, 1.0f); }

// 1 inside [start, start + length), soft at both ends.
float band(float x, float start, float length) { return step(x - start) * step(start + length - x); }

// 1 inside [start, start + length) of every period.
float periodicBand(float x, float period, float start, float length) {
    const float t = x - period * std::floor(x / period);
    return std::max(band(t, start, length), band(t - period, start, length));
}

// 1 inside the ellipse, soft over about one pixel at its rim.
float ellipse(float x, float y, float radiusX, float radiusY) {
    const float r = std::hypot(x / radiusX, y / radiusY);
    return step((1.0f - r) * std::min(radiusX, radiusY));
}

// A facade with a grid of warm windows, ledges and a hot pipe.
float building(float x, float y, float w, float h) {
    float t = 8.0f + 6.0f * y / h;
    const float facade = band(x, 0.08f * w, 0.84f * w) * band(y, 0.12f * h, 0.9f * h);
    if (facade > 0.0f) {
        const float windows = periodicBand(x, 15.0f, 4.0f, 8.0f) * periodicBand(y, 19.0f, 4.0f, 11.0f);
        const float ledges = periodicBand(y, 19.0f, 17.0f, 1.0f);
        t += facade * (10.0f + 9.0f * windows - 3.0f * ledges);
    }
    return t + 14.0f * band(x, 0.31f * w, 2.0f) * band(y, 0.05f * h, 0.95f * h);
}

// Warm people, each a body and a head, on a mildly textured background.
float people(float x, float y) {
    const float cellW = 46.0f, cellH = 84.0f;
    const float cx = x - cellW * std::floor(x / cellW) - 0.5f * cellW;
    const float cy = y - cellH * std::floor(y / cellH) - 0.5f * cellH;
    const float body = ellipse(cx, cy - 10.0f, 9.0f, 24.0f);
    const float head = ellipse(cx, cy + 24.0f, 6.5f, 7.5f);
    const float background = 17.0f + 1.5f * std::sin(x / 5.0f) * std::sin(y / 7.0f);
    return background + body * (31.5f - background) + head * (35.5f - background) * (1.0f - body);
}

// A resolution star: 36 warm spokes, finer towards the centre than any
// input pixel resolves, on a mild gradient. It has no translational
// repetition, so registration is well posed.
float star(float x, float y, float w, float h) {
    constexpr int kSpokes = 36;
    const float dx = x - 0.5f * w, dy = y - 0.5f * h;
    const float radius = std::hypot(dx, dy), outer = 0.45f * std::min(w, h);
    const float angle = std::atan2(dy, dx);
    // Distance to the nearest spoke edge along the circle, signed: positive on a spoke.
    const float edge = radius * std::sin(kSpokes * angle) / kSpokes;
    const float inside = step(outer - radius);
    return 15.0f + 3.0f * x / w + 12.0f * inside * step(edge);
}

}  // namespace

Scene sceneFromName(const std::string& name) {
    if (name == "building") return Scene::Building;
    if (name == "people") return Scene::People;
    if (name == "star") return Scene::Star;
    throw ToolError(ExitCode::Usage, "unknown scene '" + name + "' (building, people or star)");
}

std::string sceneName(Scene scene) {
    switch (scene) {
        case Scene::Building: return "building";
        case Scene::People: return "people";
        case Scene::Star: return "star";
    }
    return "";
}

BurstSimulator::BurstSimulator(const BurstSettings& settings) : settings_(settings) {}

float BurstSimulator::value(float x, float y) const {
    const float w = 2.0f * settings_.frameSize.width, h = 2.0f * settings_.frameSize.height;
    switch (settings_.scene) {
        case Scene::Building: return building(x, y, w, h);
        case Scene::People: return people(x, y);
        case Scene::Star: return star(x, y, w, h);
    }
    return 0.0f;
}

cv::Mat_<float> BurstSimulator::render(cv::Point2f shift) const {
    cv::Mat_<float> image(2 * settings_.frameSize.height, 2 * settings_.frameSize.width);
    for (int row = 0; row < image.rows; ++row)
        for (int col = 0; col < image.cols; ++col) image(row, col) = value(col - 2.0f * shift.x, row - 2.0f * shift.y);
    return image;
}

Burst BurstSimulator::simulate() const {
    cv::RNG rng(settings_.seed);
    Burst burst;
    for (int k = 0; k < settings_.frames; ++k) {
        const float limit = settings_.maxShift;
        burst.shifts.push_back(k == settings_.reference
                                   ? cv::Point2f()
                                   : cv::Point2f(rng.uniform(-limit, limit), rng.uniform(-limit, limit)));
    }
    const cv::Size& size = settings_.frameSize;
    for (int i = 0; i < settings_.badPixels; ++i)
        burst.badPixels.emplace_back(rng.uniform(0, size.width), rng.uniform(0, size.height));

    for (const cv::Point2f& shift : burst.shifts) {
        cv::Mat_<float> image = frame(shift, rng);
        // A defective pixel reads far above any scene temperature.
        for (const cv::Point& pixel : burst.badPixels) image(pixel) = 6000.0f;
        burst.frames.push_back(image);
    }
    for (int i = 0; i < settings_.stuckPixels; ++i) {
        const cv::Point pixel(rng.uniform(0, size.width), rng.uniform(0, size.height));
        const float reading = rng.uniform(40.0f, 60.0f);
        burst.stuckPixels.push_back(pixel);
        for (cv::Mat_<float>& image : burst.frames) image(pixel) = reading;
    }
    burst.truth = render(cv::Point2f());
    return burst;
}

cv::Mat_<float> BurstSimulator::frame(cv::Point2f shift, cv::RNG& noise) const {
    // Sampling the rendering at even pixels reads the scene at (2i + 0.5, 2j + 0.5).
    cv::Mat_<float> scene = render(shift - cv::Point2f(0.25f, 0.25f));
    if (settings_.blur > 0.0f)
        cv::GaussianBlur(scene, scene, cv::Size(), settings_.blur, settings_.blur, cv::BORDER_REFLECT);
    const cv::Size& size = settings_.frameSize;
    cv::Mat_<float> image(size);
    for (int row = 0; row < size.height; ++row)
        for (int col = 0; col < size.width; ++col)
            image(row, col) = scene(2 * row, 2 * col) + static_cast<float>(noise.gaussian(settings_.noise));
    return image;
}

}  // namespace tools
}  // namespace vorel
