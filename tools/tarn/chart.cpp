#include "chart.h"

#include "errors.h"
#include "text.h"

#include <algorithm>
#include <cmath>

namespace tarn {

namespace {

constexpr size_t kMostPanels = 12;
constexpr double kWidth = 1000;
constexpr double kLeft = 90;
constexpr double kRight = 20;
constexpr double kTitleHeight = 48;
constexpr double kPanelHeight = 230;
constexpr double kPanelTop = 34;    // from the top of a panel to its plot
constexpr double kPanelBottom = 14; // below its plot
constexpr double kAxisHeight = 52;  // below the last panel
constexpr double kPlotWidth = kWidth - kLeft - kRight;
constexpr double kPlotHeight = kPanelHeight - kPanelTop - kPanelBottom;

constexpr const char *kColours[] = {"#1d4ed8", "#dc2626", "#047857",
                                    "#b45309", "#7c3aed", "#0e7490"};

// Titles and units that a reader finds more readable.
std::string unit_text(const std::string &unit) {
    return unit == "us" ? "\xC2\xB5s" : unit == "inc" ? "increments" : unit;
}

std::string escaped(const std::string &text) {
    std::string result;
    for (const char c : text) {
        switch (c) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '"':
            result += "&quot;";
            break;
        default:
            result += c;
        }
    }
    return result;
}

// ---- scales -------------------------------------------------------------------------------------

struct Scale {
    double low = 0;
    double high = 1;
    double step = 1; // between two marks

    [[nodiscard]] double part(double value) const { return (value - low) / (high - low); }
    [[nodiscard]] double first_mark() const { return std::ceil(low / step - 1e-9) * step; }
};

double nice_step(double range, double marks) {
    const double unit = std::pow(10.0, std::floor(std::log10(range / marks)));
    for (const double step : {1.0, 2.0, 5.0}) {
        if (step * unit >= range / marks) {
            return step * unit;
        }
    }
    return 10 * unit;
}

// Never empty, however alike the values are.
Scale scale_of(double low, double high, double marks) {
    const double smallest = std::max({1e-9, 1e-9 * std::abs(low), 1e-9 * std::abs(high)});
    if (high - low < smallest) {
        const double room = std::max(std::abs(low) * 0.1, 0.5);
        low -= room;
        high += room;
    }
    return {low, high, nice_step(high - low, marks)};
}

Scale widened(const Scale &scale) {
    return {std::floor(scale.low / scale.step + 1e-9) * scale.step,
            std::ceil(scale.high / scale.step - 1e-9) * scale.step, scale.step};
}

std::string mark_text(double value, double step) {
    const int decimals = std::clamp(static_cast<int>(-std::floor(std::log10(step) + 1e-9)), 0, 9);
    return format("%.*f", decimals, std::abs(value) < step / 2 ? 0.0 : value);
}

// ---- panels -------------------------------------------------------------------------------------

struct Panel {
    std::string unit;
    std::vector<const CsvColumn *> columns;
    double top = 0; // of its plot
    Scale y;

    [[nodiscard]] bool bars() const { return unit == "cycles"; }
};

std::vector<Panel> panels_of(const std::vector<CsvColumn> &columns) {
    std::vector<Panel> panels;
    for (size_t i = 1; i < columns.size(); ++i) {
        const auto same = [&](const Panel &panel) { return panel.unit == columns[i].unit; };
        auto panel = std::find_if(panels.begin(), panels.end(), same);
        if (panel == panels.end()) {
            panel = panels.insert(panels.end(), {columns[i].unit, {}, 0, {}});
        }
        panel->columns.push_back(&columns[i]);
    }
    if (panels.size() > kMostPanels) {
        throw Failure(counted(panels.size(), "unit") + ", but only " + std::to_string(kMostPanels) +
                          " can be drawn",
                      "leave columns out");
    }
    return panels;
}

void place(std::vector<Panel> &panels) {
    double top = kTitleHeight;
    for (Panel &panel : panels) {
        double low = panel.bars() ? 0 : panel.columns.front()->values.front();
        double high = panel.bars() ? 1 : low;
        for (const CsvColumn *column : panel.columns) {
            const auto [least, most] =
                std::minmax_element(column->values.begin(), column->values.end());
            low = std::min(low, *least);
            high = std::max(high, *most);
        }
        panel.y = widened(scale_of(low, high, panel.bars() ? 3 : 5));
        panel.top = top + kPanelTop;
        top += kPanelHeight;
    }
}

// ---- drawing ------------------------------------------------------------------------------------

class Drawing {
  public:
    Drawing(const std::string &title, const CsvColumn &axis, std::vector<Panel> panels)
        : axis_(axis), panels_(std::move(panels)) {
        const auto [least, most] = std::minmax_element(axis.values.begin(), axis.values.end());
        x_ = scale_of(*least, *most, 8);
        begin(title);
    }

    std::string finish() {
        for (const Panel &panel : panels_) {
            draw_frame(panel);
            draw_legend(panel);
            for (size_t i = 0; i < panel.columns.size(); ++i) {
                const char *colour = kColours[i % std::size(kColours)];
                if (panel.bars()) {
                    draw_bars(panel, *panel.columns[i], colour);
                } else {
                    draw_curve(panel, *panel.columns[i], colour);
                }
            }
        }
        draw_axis_title();
        return text_ + "</svg>\n";
    }

  private:
    [[nodiscard]] double height() const {
        return kTitleHeight + kPanelHeight * static_cast<double>(panels_.size()) + kAxisHeight;
    }
    [[nodiscard]] double x(double value) const { return kLeft + x_.part(value) * kPlotWidth; }
    static double y(const Panel &panel, double value) {
        return panel.top + (1 - panel.y.part(value)) * kPlotHeight;
    }

    void begin(const std::string &title) {
        text_ = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" +
                format("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %.0f %.0f\" "
                       "width=\"%.0f\" height=\"%.0f\" ",
                       kWidth, height(), kWidth, height()) +
                "font-family=\"Helvetica, Arial, sans-serif\" font-size=\"12\" fill=\"#374151\">\n";
        text_ += "<title>" + escaped(title) + "</title>\n";
        text_ += "<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n";
        text_ += format("<text x=\"%.0f\" y=\"26\" font-size=\"17\" font-weight=\"bold\">", kLeft) +
                 escaped(title) + "</text>\n";
    }

    void line(double x1, double y1, double x2, double y2, const char *colour) {
        text_ += format("<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" stroke=\"%s\"/>\n",
                        x1, y1, x2, y2, colour);
    }
    void label(double x, double y, const char *anchor, const std::string &text) {
        text_ += format("<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"%s\">", x, y, anchor) +
                 escaped(text) + "</text>\n";
    }

    void draw_frame(const Panel &panel) {
        const double bottom = panel.top + kPlotHeight;
        const bool last = &panel == &panels_.back();
        for (double mark = x_.first_mark(); mark <= x_.high + x_.step * 1e-6; mark += x_.step) {
            line(x(mark), panel.top, x(mark), bottom, "#e5e7eb");
            if (last) {
                label(x(mark), bottom + 18, "middle", mark_text(mark, x_.step));
            }
        }
        const Scale &scale = panel.y;
        for (double mark = scale.first_mark(); mark <= scale.high + scale.step * 1e-6;
             mark += scale.step) {
            line(kLeft, y(panel, mark), kLeft + kPlotWidth, y(panel, mark), "#e5e7eb");
            label(kLeft - 8, y(panel, mark) + 4, "end", mark_text(mark, scale.step));
        }
        line(kLeft, panel.top, kLeft, bottom, "#6b7280");
        line(kLeft, bottom, kLeft + kPlotWidth, bottom, "#6b7280");
        const double middle = panel.top + kPlotHeight / 2;
        text_ += format("<text x=\"18\" y=\"%.1f\" text-anchor=\"middle\" "
                        "transform=\"rotate(-90 18 %.1f)\">",
                        middle, middle) +
                 escaped(unit_text(panel.unit)) + "</text>\n";
    }

    void draw_legend(const Panel &panel) {
        double at = kLeft;
        for (size_t i = 0; i < panel.columns.size(); ++i) {
            const std::string &name = panel.columns[i]->name;
            text_ += format("<rect x=\"%.1f\" y=\"%.1f\" width=\"14\" height=\"4\" fill=\"%s\"/>\n",
                            at, panel.top - 14, kColours[i % std::size(kColours)]);
            label(at + 20, panel.top - 8, "start", name);
            at += 44 + 7.2 * static_cast<double>(display_width(name));
        }
    }

    void draw_axis_title() {
        const std::string unit = unit_text(axis_.unit);
        label(kLeft + kPlotWidth / 2, height() - 12, "middle",
              axis_.name + (unit.empty() ? "" : " [" + unit + "]"));
    }

    // Where many values share a column of the picture, its first, lowest, highest and last are
    // drawn: no spike is lost.
    void draw_curve(const Panel &panel, const CsvColumn &column, const char *colour) {
        text_ +=
            "<polyline fill=\"none\" stroke-width=\"1.3\" stroke-linejoin=\"round\" stroke=\"" +
            std::string(colour) + "\" points=\"";
        const std::vector<double> &values = column.values;
        for (size_t begin = 0; begin < values.size();) {
            const double pixel = std::floor(x(axis_.values[begin]));
            size_t end = begin + 1;
            while (end < values.size() && std::floor(x(axis_.values[end])) == pixel) {
                ++end;
            }
            add_points(panel, values, begin, end);
            begin = end;
        }
        text_ += "\"/>\n";
    }

    void add_points(const Panel &panel, const std::vector<double> &values, size_t begin,
                    size_t end) {
        const auto first = values.begin() + static_cast<std::ptrdiff_t>(begin);
        const auto last = values.begin() + static_cast<std::ptrdiff_t>(end);
        const auto [least, most] = std::minmax_element(first, last);
        size_t picked[] = {begin, static_cast<size_t>(least - values.begin()),
                           static_cast<size_t>(most - values.begin()), end - 1};
        std::sort(std::begin(picked), std::end(picked));
        const auto unique = std::unique(std::begin(picked), std::end(picked));
        for (const size_t *i = picked; i != unique; ++i) {
            text_ += format("%.1f,%.1f ", x(axis_.values[*i]), y(panel, values[*i]));
        }
    }

    void draw_bars(const Panel &panel, const CsvColumn &column, const char *colour) {
        for (size_t i = 0; i < column.values.size();) {
            const double at = x(axis_.values[i]);
            double highest = 0;
            for (; i < column.values.size() && x(axis_.values[i]) < at + 1; ++i) {
                highest = std::max(highest, column.values[i]);
            }
            if (highest > 0) {
                text_ += format("<rect x=\"%.1f\" y=\"%.1f\" width=\"2\" height=\"%.1f\" "
                                "fill=\"%s\"/>\n",
                                at - 1, y(panel, highest), y(panel, 0) - y(panel, highest), colour);
            }
        }
    }

    const CsvColumn &axis_;
    std::vector<Panel> panels_;
    Scale x_;
    std::string text_;
};

} // namespace

std::string draw_chart(const std::string &title, const std::vector<CsvColumn> &columns) {
    std::vector<Panel> panels = panels_of(columns);
    place(panels);
    return Drawing(title, columns.front(), std::move(panels)).finish();
}

} // namespace tarn
