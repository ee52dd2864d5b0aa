// tarn eni check
#include "command.h"
#include "eni_check.h"

namespace tarn {

namespace {

struct CheckArguments {
    std::string file;
};

const char *severity_name(Finding::Severity severity) {
    return severity == Finding::Severity::Error ? "error" : "warning";
}

Json report_json(const std::string &file, const EniReport &report) {
    Json findings = Json::array();
    for (const Finding &finding : report.findings) {
        findings.add(Json::object()
                         .set("severity", severity_name(finding.severity))
                         .set("line", finding.line)
                         .set("text", finding.text));
    }
    return Json::object()
        .set("file", file)
        .set("bytes", report.bytes)
        .set("slaves", report.slaves)
        .set("output_bytes", report.output_bytes)
        .set("input_bytes", report.input_bytes)
        .set("cycle_us", report.cycle_us)
        .set("crc", report.crc.empty() ? Json() : Json(report.crc))
        .set("logical_mapping", report.mapping)
        .set("errors", report.count(Finding::Severity::Error))
        .set("warnings", report.count(Finding::Severity::Warning))
        .set("findings", std::move(findings));
}

void print_report(const Output &output, const std::string &file, const EniReport &report) {
    for (const Finding &finding : report.findings) {
        const std::string line = finding.line > 0 ? ":" + std::to_string(finding.line) : "";
        output.line(printable(file) + line + ": " + severity_name(finding.severity) + ": " +
                    finding.text);
    }
    output.line(counted(report.slaves, "slave") + ", outputs " +
                counted(report.output_bytes, "byte") + ", inputs " +
                counted(report.input_bytes, "byte") +
                (report.cycle_us > 0 ? ", cycle " + std::to_string(report.cycle_us) + " us" : "") +
                (report.mapping ? ", logical addresses" : ", physical addresses") +
                (report.crc.empty() ? "" : ", CRC " + report.crc));
    output.line(counted(report.count(Finding::Severity::Error), "error") + ", " +
                counted(report.count(Finding::Severity::Warning), "warning"));
}

int check_file(Context &context, const CheckArguments &arguments) {
    const EniReport report = check_eni(arguments.file);
    if (context.output.json()) {
        context.output.document(report_json(arguments.file, report));
    } else {
        print_report(context.output, arguments.file, report);
    }
    return report.count(Finding::Severity::Error) == 0 ? kSuccess : kFailure;
}

} // namespace

void add_eni_commands(CLI::App &app, Context &context) {
    CLI::App *eni = app.add_subcommand("eni", "Work on ENI files; needs no card");
    eni->require_subcommand(0, 1);
    eni->footer(with_global_options("  tarn eni check machine.xml\n"));

    const auto arguments = std::make_shared<CheckArguments>();
    CLI::App *command = add_command<CheckArguments>(
        *eni, context, "check", "Find out whether a card would take an ENI file", arguments,
        check_file);
    command->add_option("FILE", arguments->file, "ENI file")->required();
    command->footer(with_global_options(
        "  tarn eni check machine.xml\n"
        "  tarn eni check machine.xml --json\n"
        "Looks at: well-formedness, sizes, slaves and their addresses, process data inside the\n"
        "images, the CRC element, the comment that maps slaves to logical addresses. Every\n"
        "finding is printed as FILE:LINE: error or warning: text. Exit status 1 when there is an\n"
        "error.\n"));
}

} // namespace tarn
