// SPDX-License-Identifier: Proprietary
#pragma once

#include <opencv2/core.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace vorel {
namespace tools {

/// Synthetic thermal scenes, in degrees Celsius.
enum class Scene { Building, People, Star };

/// Parses "building", "people" or "star"; throws ToolError(Usage) otherwise.
Scene sceneFromName(const std::string& name);
std::string sceneName(Scene scene);

struct BurstSettings {
    cv::Size frameSize{160, 120};  ///< low-resolution frame size
    int frames = 5;
    int reference = 1;  ///< the frame whose geometry the ground truth has (shift 0)
    Scene scene = Scene::Building;
    float noise = 0.05f;    ///< standard deviation of the sensor noise, kelvin
    float blur = 0.683f;    ///< sigma of the sensor blur, high-resolution pixels (the library's default)
    float maxShift = 1.5f;  ///< largest hand-shake shift per axis, low-resolution pixels
    int badPixels = 0;      ///< defective sensor pixels, at the same place in every frame
    /// Stuck pixels: each reads one fixed value from 40 to 60 degrees in every
    /// frame, above nearly all of any scene, yet a valid reading. Drawn after the
    /// frames, so that the burst is otherwise the one without them.
    int stuckPixels = 0;
    uint64_t seed = 1;
};

struct Burst {
    std::vector<cv::Mat_<float>> frames;
    /// Per frame: the scene's position in the frame minus its position in the
    /// reference frame, in low-resolution pixels.
    std::vector<cv::Point2f> shifts;
    cv::Mat_<float> truth;  ///< the unblurred scene at twice the frame size, reference geometry
    std::vector<cv::Point> badPixels;
    std::vector<cv::Point> stuckPixels;
};

/// A burst as a hand-held sensor would take it, for vsr simulate, the tests and
/// the benchmarks: the scene moved by a sub-pixel
/// shift per frame, blurred by the sensor, sampled once per input pixel at the
/// centre of the 2 x 2 output pixels it covers (input pixel (i, j) reads the
/// blurred scene at output position (2i + 0.5, 2j + 0.5)), plus Gaussian noise.
/// The scene is analytic, so every shift is exact.
class BurstSimulator {
public:
    explicit BurstSimulator(const BurstSettings& settings);

    Burst simulate() const;
    /// One frame of the scene moved by `shift` (low-resolution pixels): blurred,
    /// sampled and with the settings' noise drawn from `noise`; no defects.
    cv::Mat_<float> frame(cv::Point2f shift, cv::RNG& noise) const;
    /// The unblurred scene moved by `shift` (low-resolution pixels), at twice the frame size.
    cv::Mat_<float> render(cv::Point2f shift) const;

private:
    float value(float x, float y) const;

    BurstSettings settings_;
};

}  // namespace tools
}  // namespace vorel
