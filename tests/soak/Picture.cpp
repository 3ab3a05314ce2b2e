// SPDX-License-Identifier: Apache-2.0
#include "Picture.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <iterator>

namespace {

constexpr int WIDTH = 900;
constexpr int PANEL = 120;
constexpr int GAP = 40;
constexpr int LEFT = 70;
constexpr int TOP = 40;
constexpr int PLOT = WIDTH - LEFT - 20;
constexpr std::size_t MOST_POINTS =
    200; // so that the picture of a long run is as small as that of a short one

struct Panel {
    const char* name;
    double Sample::*value;
};

constexpr Panel PANELS[] = {{"heap, MiB", &Sample::heap},
                            {"resident memory, MiB", &Sample::memory},
                            {"descriptors", &Sample::descriptors},
                            {"threads", &Sample::threads},
                            {"failed requests a second", &Sample::failures}};

std::string Number(double value) {
    return std::to_string(static_cast<long>(std::lround(value)));
}

std::string Text(double x, double y, const char* anchor, const std::string& text) {
    return "<text x=\"" + Number(x) + "\" y=\"" + Number(y) + "\" text-anchor=\"" + anchor + "\">" + text +
           "</text>\n";
}

std::string Coordinate(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

/// A number as the next one that is easily read.
double RoundUp(double value) {
    for (double step = 1;; step *= 10) {
        for (const double factor : {1.0, 2.0, 5.0}) {
            if (value <= step * factor) {
                return step * factor;
            }
        }
    }
}

std::string DrawPanel(const Panel& panel, const Samples& samples, double top) {
    double most = 0;
    for (const Sample& sample : samples) {
        most = std::max(most, sample.*panel.value);
    }
    const double scale = RoundUp(most);
    const double end = std::max(samples.back().second, 1.0);

    std::string text = "<rect x=\"" + Number(LEFT) + "\" y=\"" + Number(top) + "\" width=\"" + Number(PLOT) +
                       "\" height=\"" + Number(PANEL) + "\" fill=\"none\" stroke=\"#999\"/>\n";
    text += Text(LEFT, top - 6, "start", panel.name);
    text += Text(LEFT - 6, top + 10, "end", Number(scale));
    text += Text(LEFT - 6, top + PANEL, "end", "0");
    text += "<polyline fill=\"none\" stroke=\"#06c\" points=\"";
    const std::size_t stretch = samples.size() / MOST_POINTS + 1;
    for (std::size_t first = 0; first < samples.size(); first += stretch) {
        double highest = 0; // of each stretch, so that no peak is lost
        for (std::size_t i = first; i < std::min(first + stretch, samples.size()); ++i) {
            highest = std::max(highest, samples[i].*panel.value);
        }
        text += Coordinate(LEFT + PLOT * samples[first].second / end) + "," +
                Coordinate(top + PANEL - PANEL * highest / scale) + " ";
    }
    return text + "\"/>\n";
}

} // namespace

std::string Draw(const Samples& samples, const std::string& title) {
    if (samples.empty()) {
        return "";
    }
    const int height = TOP + static_cast<int>(std::size(PANELS)) * (PANEL + GAP) + 10;
    std::string text = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + Number(WIDTH) + "\" height=\"" +
                       Number(height) + "\" font-family=\"sans-serif\" font-size=\"12\">\n" +
                       "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n" +
                       Text(LEFT, 16, "start", title);
    double top = TOP + 6;
    for (const Panel& panel : PANELS) {
        text += DrawPanel(panel, samples, top);
        top += PANEL + GAP;
    }
    text += Text(LEFT, top - GAP + 16, "start", "0 s") +
            Text(LEFT + PLOT, top - GAP + 16, "end", Number(samples.back().second) + " s");
    return text + "</svg>\n";
}
