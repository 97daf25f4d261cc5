// SPDX-License-Identifier: Proprietary
#include "BadPixelTasks.h"
#include "CommandLine.h"
#include "Commands.h"

#include <iostream>

namespace vorel {
namespace tools {
namespace {

const char* const kUsage = R"(Usage: vsr badpixels find FRAME -o LIST [options]
       vsr badpixels merge OLD NEW -o LIST --size WxH [--radius R]
       vsr badpixels draw LIST IMAGE -o OVERLAY.png [options]
       vsr badpixels repair LIST FRAME... -o FOLDER [--size WxH]

A camera's defect map: finds the defective pixels of a sensor in a flat-field
or dark frame of 16-bit counts, keeps them as a list with four replacement
pixels each, merges new defects into a list, draws a list over an image and
repairs raw frames from it. Lists are .csv (x, y, then the four replacement
pairs, with a header line) or .yml/.yaml/.json (OpenCV FileStorage, node
"badPixels"); the extension picks the format. Run 'vsr badpixels COMMAND --help'.
)";

CLI::App* addTask(CLI::App& badpixels, const std::string& name, const std::string& summary, const std::string& usage) {
    return addSubcommand(badpixels, name, summary, usage + "\n" + summary + ".\n");
}

void addFind(CLI::App& badpixels) {
    auto options = std::make_shared<BadPixelFindOptions>();
    CLI::App* find = addTask(badpixels, "find", "find the defective pixels of a flat-field or dark frame",
                             "Usage: vsr badpixels find FRAME -o LIST [options]\n");
    find->add_option("FRAME", options->frame, "16-bit PNG or TIFF, or an int16 .raw file with --size")->required();
    find->add_option("-o", options->output, "the list to write: .csv, .yml, .yaml or .json")
        ->required()
        ->type_name("LIST");
    addSizeOption(*find, "--size", options->rawSize, "frame size of a .raw frame");
    find->add_option("--min", options->search.minValue, "counts at or below V are defective (default 0)")
        ->type_name("V");
    find->add_option("--max", options->search.maxValue, "counts at or above V are defective (default 16383)")
        ->type_name("V");
    find->add_option("--threshold", options->search.threshold,
                     "a value is isolated when fewer than N pixels lie within --span counts of it (default 5)")
        ->type_name("N");
    find->add_option("--span", options->search.span, "how many counts 'near' reaches, at least 2 (default 16)")
        ->type_name("N");
    find->add_option("--capacity", options->search.capacity,
                     "most defective pixels expected, 1 to 65535 (default 4096)")
        ->type_name("N");
    find->add_option("--radius", options->search.radius,
                     "how far replacement pixels are searched, 1 to 100 (default 3)")
        ->type_name("R");
    find->callback([options] { findBadPixels(*options, std::cout); });
}

void addMerge(CLI::App& badpixels) {
    auto options = std::make_shared<BadPixelMergeOptions>();
    CLI::App* merge =
        addTask(badpixels, "merge", "add the pixels of NEW not yet in OLD, recomputing the replacements concerned",
                "Usage: vsr badpixels merge OLD NEW -o LIST --size WxH [--radius R]\n");
    merge->add_option("OLD", options->oldList, "the list so far")->required();
    merge->add_option("NEW", options->newList, "the defects to add")->required();
    merge->add_option("-o", options->output, "the merged list")->required()->type_name("LIST");
    addSizeOption(*merge, "--size", options->size, "the sensor's frame size")->required();
    merge->add_option("--radius", options->radius, "as for find (default 3)")->type_name("R");
    merge->callback([options] { mergeBadPixels(*options, std::cout); });
}

void addDraw(CLI::App& badpixels) {
    auto options = std::make_shared<BadPixelDrawOptions>();
    CLI::App* draw = addTask(badpixels, "draw", "the image in the thermal palette with each listed pixel boxed",
                             "Usage: vsr badpixels draw LIST IMAGE -o OVERLAY.png [options]\n");
    draw->add_option("LIST", options->list, "the bad-pixel list")->required();
    draw->add_option("IMAGE", options->image, "any single-channel image or frame")->required();
    draw->add_option("-o", options->output, "the overlay, an 8-bit colour image")->required()->type_name("PATH");
    addSizeOption(*draw, "--size", options->rawSize, "frame size of a .raw image");
    draw->add_option("--box", options->box, "side of the square drawn around each pixel, 1 to 255 (default 7)")
        ->type_name("N");
    draw->add_flag("--random-colours", options->randomColours, "one random colour per pixel instead of green");
    draw->callback([options] { drawBadPixelList(*options, std::cout); });
}

void addRepair(CLI::App& badpixels) {
    auto options = std::make_shared<BadPixelRepairOptions>();
    CLI::App* repair = addTask(badpixels, "repair", "each listed pixel := the mean of its four replacements",
                               "Usage: vsr badpixels repair LIST FRAME... -o FOLDER [--size WxH]\n");
    repair->add_option("LIST", options->list, "the bad-pixel list")->required();
    repair->add_option("FRAME", options->frames, "16-bit frames of counts")->required();
    repair->add_option("-o", options->outputFolder, "created if missing; the frames keep their names and formats")
        ->required()
        ->type_name("FOLDER");
    addSizeOption(*repair, "--size", options->rawSize, "for .raw frames (all frames must then be .raw)");
    repair->callback([options] { repairBadPixels(*options, std::cout); });
}

}  // namespace

void addBadPixelsCommand(CLI::App& vsr) {
    CLI::App* badpixels = addSubcommand(vsr, "badpixels", "find, merge, draw and apply a sensor's defect list", kUsage);
    badpixels->require_subcommand(1);
    addFind(*badpixels);
    addMerge(*badpixels);
    addDraw(*badpixels);
    addRepair(*badpixels);
}

}  // namespace tools
}  // namespace vorel
