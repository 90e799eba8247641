#include "Plot.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <tuple>
#include <vector>

namespace VarnelBase::Studies {

namespace {

/// One of the study's quantities, and where a point's row has it.
struct Column {
    Quantity quantity;
    bool isResult = false;
    std::size_t index = 0;

    /// Null where a point finished before its study collected this.
    json Read(const PointRecord& record) const {
        const json& values = isResult ? record.results : record.parameters;
        return index < values.size() ? values[index] : json();
    }

    std::string WriteLabel() const {
        const std::string name = quantity.pointer.to_string();
        return quantity.unit.empty() ? name : name + " [" + quantity.unit + "]";
    }
};

Column FindColumn(const StudyColumns& columns, const std::string& pointer) {
    std::string known;
    for (const bool isResult : {false, true}) {
        const std::vector<Quantity>& quantities = isResult ? columns.collected : columns.parameters;
        for (std::size_t index = 0; index < quantities.size(); ++index) {
            const std::string name = quantities[index].pointer.to_string();
            if (name == pointer) { return {quantities[index], isResult, index}; }
            known += (known.empty() ? "" : ", ") + name;
        }
    }
    throw std::runtime_error("the study has no " + pointer + ", but " + known);
}

/// A text for gnuplot, in which nothing has a meaning.
std::string QuoteForGnuplot(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) {
        if (static_cast<unsigned char>(c) < ' ') {
            throw std::runtime_error("a plot cannot show a text with control characters");
        }
        quoted += c == '\'' ? std::string("''") : std::string(1, c);
    }
    return quoted + "'";
}

double ReadCoordinate(const PointRecord& record, const Column& column) {
    const json value = column.Read(record);
    if (!value.is_number()) {
        throw std::runtime_error("point " + std::to_string(record.number + 1) +
                                 " has no number at " + column.quantity.pointer.to_string() +
                                 " but " + value.dump());
    }
    return value.get<double>();
}

/// x, y and, for a heat map, the value that is shown as a colour.
using Coordinates = std::tuple<double, double, double>;
using Groups = std::map<json, std::vector<Coordinates>>; ///< by the value that they share

/// The lines of gnuplot's data block of one group. A heat map's rows are parted by empty lines.
std::string WriteData(std::vector<Coordinates> coordinates, bool isHeatMap) {
    std::sort(coordinates.begin(), coordinates.end());
    std::ostringstream lines;
    lines.precision(17);
    double row = std::get<0>(coordinates.front());
    for (const auto& [x, y, color] : coordinates) {
        if (isHeatMap && x != row) { lines << '\n'; }
        row = x;
        lines << x << ' ' << y << ' ' << color << '\n';
    }
    return lines.str();
}

std::string ChooseTerminal(const std::string& file) {
    if (file.empty()) { return "dumb size 100, 30"; }
    const std::string kind = std::filesystem::path(file).extension().string();
    if (kind == ".svg") { return "svg size 800, 500 background rgb 'white' noenhanced"; }
    if (kind == ".png") { return "pngcairo size 1200, 750 noenhanced"; }
    throw std::runtime_error(file + ": a plot's file must end in .svg or .png");
}

std::string WriteScript(const Groups& groups, const PlotRequest& request,
                        const StudyColumns& columns, const std::string& output) {
    std::ostringstream script;
    script << "set terminal " << ChooseTerminal(request.file) << '\n';
    if (!output.empty()) { script << "set output " << QuoteForGnuplot(output) << '\n'; }
    script << "set xlabel " << QuoteForGnuplot(FindColumn(columns, request.x).WriteLabel()) << '\n'
           << "set ylabel " << QuoteForGnuplot(FindColumn(columns, request.y).WriteLabel()) << '\n'
           << "set grid\nset key outside\n";
    std::size_t number = 0;
    std::string plots;
    for (const auto& [value, coordinates] : groups) {
        const std::string block = "$group" + std::to_string(++number);
        script << block << " << EOD\n" << WriteData(coordinates, !request.color.empty()) << "EOD\n";
        plots += (plots.empty() ? "plot " : ", ") + block;
        if (!request.color.empty()) {
            plots += " using 1:2:3 with points pointtype 5 pointsize 2 palette notitle";
        } else {
            plots += " using 1:2 with linespoints ";
            plots += request.group.empty()
                         ? "notitle"
                         : "title " + QuoteForGnuplot(request.group + " = " + value.dump());
        }
    }
    if (!request.color.empty()) {
        script << "set cblabel " << QuoteForGnuplot(FindColumn(columns, request.color).WriteLabel())
               << '\n';
    }
    script << plots << '\n';
    return script.str();
}

/// A file that is removed with its object.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& content)
        : path((std::filesystem::temp_directory_path() / "varnel-plot-XXXXXX").string()) {
        const int descriptor = mkstemp(path.data());
        if (descriptor < 0) { throw std::system_error(errno, std::generic_category(), path); }
        close(descriptor);
        std::ofstream stream(path, std::ios::binary);
        stream << content;
        if (!stream.flush()) { throw std::runtime_error(path + ": cannot be written"); }
    }
    ~TemporaryFile() { unlink(path.c_str()); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    std::string path;
};

void RunGnuplot(const std::string& script) {
    TemporaryFile file(script);
    std::string program = "gnuplot";
    char* const arguments[] = {program.data(), file.path.data(), nullptr};
    pid_t child = 0;
    if (posix_spawnp(&child, program.c_str(), nullptr, nullptr, arguments, environ) != 0) {
        throw std::runtime_error("gnuplot cannot be started: install the package gnuplot-nox");
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {}
    if (status != 0) { throw std::runtime_error("gnuplot drew nothing; it says why above"); }
}

} // namespace

void DrawPlot(Journal& journal, const PlotRequest& request) {
    const StudyColumns columns = journal.ReadColumns();
    const Column x = FindColumn(columns, request.x);
    const Column y = FindColumn(columns, request.y);
    const auto find = [&](const std::string& pointer) {
        return pointer.empty() ? std::nullopt : std::optional(FindColumn(columns, pointer));
    };
    const auto group = find(request.group);
    const auto color = find(request.color);

    Groups groups;
    journal.VisitPoints(PointState::Finished, [&](const PointRecord& record) {
        groups[group ? group->Read(record) : json()].emplace_back(
            ReadCoordinate(record, x), ReadCoordinate(record, y),
            color ? ReadCoordinate(record, *color) : 0);
    });
    if (groups.empty()) { throw std::runtime_error("no point has finished yet"); }

    const std::string draft = request.file.empty() ? "" : request.file + ".part";
    try {
        RunGnuplot(WriteScript(groups, request, columns, draft));
        if (!draft.empty()) { std::filesystem::rename(draft, request.file); }
    } catch (const std::exception&) {
        std::error_code ignored;
        std::filesystem::remove(draft, ignored);
        throw;
    }
}

} // namespace VarnelBase::Studies
