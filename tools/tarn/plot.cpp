// tarn plot
#include "byte_output.h"
#include "chart.h"
#include "host_file.h"

#include <filesystem>

namespace tarn {

namespace {

struct Arguments {
    std::string file;
    std::string output;
    std::string title;
};

std::string picture_path(const Arguments &arguments) {
    if (!arguments.output.empty()) {
        return arguments.output;
    }
    if (arguments.file == "-") {
        throw UsageError("-o is needed with standard input");
    }
    return std::filesystem::path(arguments.file).replace_extension(".svg").string();
}

int plot(Context &context, const Arguments &arguments) {
    const std::string path = picture_path(arguments);
    if (path != "-" && arguments.file != "-" && is_same_file(path, arguments.file)) {
        throw UsageError("the picture would replace the file that it is made from; -o names "
                         "another");
    }
    const std::vector<uint8_t> bytes = read_file_or_input(arguments.file);
    const std::vector<CsvColumn> columns = parse_csv({bytes.begin(), bytes.end()});
    const std::string title = !arguments.title.empty() ? arguments.title
                              : arguments.file == "-"  ? "tarn"
                                                       : last_part(arguments.file);
    const std::string picture = draw_chart(printable(title), columns);
    give_bytes(context.output, path, {picture.begin(), picture.end()});
    if (path == "-") {
        return kSuccess;
    }
    const size_t rows = columns.front().values.size();
    if (context.output.json()) {
        Json drawn = Json::array();
        for (const CsvColumn &column : columns) {
            drawn.add(Json::object().set("name", column.name).set("unit", column.unit));
        }
        context.output.document(Json::object()
                                    .set("file", printable(path))
                                    .set("rows", rows)
                                    .set("columns", std::move(drawn)));
        return kSuccess;
    }
    context.output.line("Drew " + counted(rows, "row") + " and " +
                        counted(columns.size() - 1, "curve") + " into " + printable(path));
    return kSuccess;
}

} // namespace

void add_plot_command(CLI::App &app, Context &context) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App *command = add_command<Arguments>(
        app, context, "plot", "Draw a recording as a picture for the browser", arguments, plot);
    command->add_option("FILE", arguments->file, "Comma-separated numbers; - for standard input")
        ->required();
    add_output(command, context, arguments->output,
               "SVG file, or - for standard output; FILE with the ending .svg otherwise");
    command
        ->add_option("--title", arguments->title, "Title of the picture; the file's name otherwise")
        ->type_name("TEXT");
    command->footer(with_global_options(
        "  tarn plot axis.csv\n"
        "  tarn plot cycles.csv -o cycles.svg --title \"1 kHz, cycle mode\"\n"
        "The first line of the file names the columns, as in \"time_s,target_inc,jitter_us\": what "
        "stands\n"
        "behind the last _ is the unit. The first column is the common axis; columns of one unit "
        "share a\n"
        "panel, those of the unit cycles become bars.\n"));
}

} // namespace tarn
