#include "host/commands/Application.h"

#include "host/base/ControlCharacters.h"
#include "host/base/Duration.h"
#include "host/base/HostException.h"
#include "host/base/Size.h"
#include "host/base/Suggestion.h"
#include "host/base/SystemText.h"
#include "host/commands/HistoryCommands.h"
#include "host/commands/RunCommand.h"
#include "host/configuration/EffectiveConfiguration.h"
#include "host/documents/ConfigurationManual.h"
#include "host/documents/ConfigurationSchema.h"
#include "host/documents/TypeReport.h"
#include "host/plugins/PluginLoader.h"
#include "host/process/LogSetup.h"
#include "host/session/LoadedConfiguration.h"
#include "host/web/HttpAccess.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <string>
#include <vector>

namespace Rvl {

namespace {

/// What the command line says.
struct SArguments
{
    std::vector<std::string> pluginPath;
    std::string logLevel = "warn";
    std::string configuration;
    std::string duration;
    std::string record;
    std::string recordInterval = "100ms";
    std::string history;
    std::string historyInterval = "100ms";
    std::string historyKeep = "30d";
    std::string historySize = "2GB";
    bool force = false;
    bool quiet = false;
    bool realtime = false;
    bool isVirtual = false;
    std::string http;
    std::string tokenFile;
    std::vector<std::string> httpNames;
    double limitScale = 1.0;
    std::vector<std::string> plugins;
    std::string typeName;
    bool json = false;
    bool strict = false;
    SHistoryOptions historyOptions;
    std::string historyFile;
    std::string historyOutput;
};

std::string checkDuration(const std::string& text)
{
    return parseDuration(text)
               ? ""
               : "\"" + text + "\" is no duration; expected one such as 500ms, 30s, 5min or 2h";
}

std::string checkFileName(const std::string& text)
{
    return text.empty() || text.front() == '-' ? "\"" + text + "\" is no file name" : "";
}

std::string checkInterval(const std::string& text)
{
    const auto interval = parseDuration(text);
    return interval && interval->count() > 0
               ? ""
               : "\"" + text + "\" is no interval; expected a duration of 1ms or more";
}

std::string checkListenAddress(const std::string& text)
{
    SWebOptions ignored;
    return parseListenAddress(text, ignored)
               ? ""
               : "\"" + text + "\" is no address to listen on; expected [ADDRESS:]PORT, such as 8080";
}

std::string checkSize(const std::string& text)
{
    const auto size = parseSize(text);
    return size && *size >= 1'000'000
               ? ""
               : "\"" + text + "\" is no size of 1MB or more; expected one such as 500MB or 2GB";
}

void describeHistory(CLI::App& run, SArguments& arguments)
{
    CLI::Option* const history =
        run.add_option("--history", arguments.history,
                       "Keep every controller's values in this file (SQLite), behind those of earlier runs")
            ->type_name("FILE")
            ->check(CLI::Validator(checkFileName, "", "file name"));
    run.add_option("--history-interval", arguments.historyInterval, "Time between two values of a controller")
        ->type_name("DURATION")
        ->check(CLI::Validator(checkInterval, "", "interval"))
        ->needs(history)
        ->capture_default_str();
    run.add_option("--history-keep", arguments.historyKeep,
                   "How long single values are kept; their means longer")
        ->type_name("DURATION")
        ->check(CLI::Validator(checkInterval, "", "interval"))
        ->needs(history)
        ->capture_default_str();
    run.add_option("--history-size", arguments.historySize, "How large the file may become")
        ->type_name("SIZE")
        ->check(CLI::Validator(checkSize, "", "size"))
        ->needs(history)
        ->capture_default_str();
}

std::string checkHistoryTime(const std::string& text)
{
    return isHistoryTime(text)
               ? ""
               : "\"" + text +
                     "\" is no time; expected one such as 2026-03-01T14:00:00Z, or -1h for an "
                     "hour before the last value";
}

std::string checkBand(const std::string& text)
{
    return isHistoryBand(text) ? "" : "\"" + text + "\" is no band; expected one such as 2% or 0.5";
}

void describeHistoryCommands(CLI::App& app, SArguments& arguments)
{
    SHistoryOptions& options = arguments.historyOptions;
    CLI::App* const exporting =
        app.add_subcommand("export", "Write what a history has as CSV, with the columns of a record");
    CLI::App* const reporting = app.add_subcommand(
        "report", "Write a report of a history as one page of HTML: trends, statistics, commands, faults");
    for (CLI::App* const command : {exporting, reporting}) {
        command->add_option("FILE", arguments.historyFile, "The history that run --history FILE has written")
            ->required();
        command
            ->add_option(
                "--from", options.from,
                "From when on, such as 2026-03-01T14:00:00Z, or -1h for an hour before the last value "
                "[the first value]")
            ->type_name("TIME")
            ->check(CLI::Validator(checkHistoryTime, "", "time"));
        command->add_option("--to", options.to, "Until when [the last value]")
            ->type_name("TIME")
            ->check(CLI::Validator(checkHistoryTime, "", "time"));
        command->add_option("--channel", options.channels, "Only this controller; may be given several times")
            ->type_name("NAME")
            ->allow_extra_args(false);
        command->add_option("--output", arguments.historyOutput, "The file to write [standard output]")
            ->type_name("FILE")
            ->check(CLI::Validator(checkFileName, "", "file name"));
        command->add_flag("--force", options.replaceOutput, "Replace a file that is already there");
    }
    reporting
        ->add_option("--band", options.band,
                     "The band around the set point, in percent of it or in the controller's unit")
        ->type_name("BAND")
        ->check(CLI::Validator(checkBand, "", "band"))
        ->capture_default_str();
}

void describeCommandLine(CLI::App& app, SArguments& arguments)
{
    // on Windows CLI11 would take a path that begins with a slash for an option; commands inherit this
    app.allow_windows_style_options(false);
    app.description("Runs closed control loops over laboratory devices.");
    app.set_version_flag("--version", "rivlink-host " RIVLINK_VERSION);
    app.require_subcommand(1);
    app.fallthrough();
    app.add_option("--plugin-path", arguments.pluginPath,
                   "Folder to look for plug-ins in, before those of RIVLINK_PLUGIN_PATH and the program's "
                   "own; may be given several times")
        ->type_name("DIR")
        ->allow_extra_args(false);
    app.add_option("--log", arguments.logLevel, "Log records to show on standard error: from this level on")
        ->type_name("LEVEL")
        ->check(CLI::IsMember(logLevels()))
        ->capture_default_str();
    app.footer("Exit status: 0 done, 1 failure at run time, 64 wrong usage, 65 not well-formed XML, "
               "78 faults in the configuration.");

    const auto withConfiguration = [&](CLI::App* command) {
        command->add_option("CONFIG", arguments.configuration, "Configuration file (XML)")->required();
        return command;
    };
    CLI::App* const run = withConfiguration(
        app.add_subcommand("run", "Check a configuration and run it until its time is over or a signal "
                                  "ends it; every controller is then taken to its disabled value"));
    CLI::Option* const duration =
        run->add_option("--for", arguments.duration, "How long to run, such as 500ms, 30s, 5min, 2h")
            ->type_name("DURATION")
            ->check(CLI::Validator(checkDuration, "", "duration"));
    CLI::Option* const record =
        run->add_option("--record", arguments.record, "Record every controller to this file (CSV)")
            ->type_name("FILE")
            ->check(CLI::Validator(checkFileName, "", "file name"));
    run->add_option("--record-interval", arguments.recordInterval, "Time between two rows of a controller")
        ->type_name("DURATION")
        ->check(CLI::Validator(checkInterval, "", "interval"))
        ->needs(record)
        ->capture_default_str();
    run->add_flag("--force", arguments.force, "Replace a record that is already there")->needs(record);
    describeHistory(*run, arguments);
    run->add_flag("--quiet", arguments.quiet, "No live output, only the summary at the end");
    CLI::Option* const realtime = run->add_flag(
        "--realtime", arguments.realtime,
        "Serve loops and devices before ordinary programs and keep memory from being paged out, as "
        "far as the system allows it");
    run->add_flag("--virtual", arguments.isVirtual,
                  "Run on virtual time: as fast as it goes, with exact periods, and the same each time; for "
                  "configurations of simulated devices")
        ->needs(duration)
        ->excludes(realtime);
    CLI::Option* const http =
        run->add_option("--http", arguments.http,
                        "Serve the operator's page and the interface over HTTP there, on 127.0.0.1 unless an "
                        "address is given; port 0: a free one, \"auto\": 8080 or a free one")
            ->type_name("[ADDRESS:]PORT")
            ->check(CLI::Validator(checkListenAddress, "", "address"))
            ->excludes("--virtual");
    run->add_option(
           "--http-token-file", arguments.tokenFile,
           "File with the access token that every request needs; the variable RIVLINK_HTTP_TOKEN may "
           "hold it instead")
        ->type_name("FILE")
        ->needs(http);
    run->add_option("--http-name", arguments.httpNames,
                    "A name by which other computers address this one; may be given several times")
        ->type_name("NAME")
        ->needs(http)
        ->allow_extra_args(false);
    // for tests, which need not wait for what never ends as long as people do
    run->add_option("--limit-scale", arguments.limitScale)->check(CLI::Range(0.01, 100.0))->group("");

    CLI::App* const check = withConfiguration(
        app.add_subcommand("check", "Tell everything that is wrong with a configuration; drives nothing"));
    for (CLI::App* const command : {run, check}) {
        command->add_flag("--strict", arguments.strict, "Take warnings for faults");
    }
    withConfiguration(app.add_subcommand(
        "print",
        "Print the effective configuration, with its defaults; limits that there are none of are left out"));

    describeHistoryCommands(app, arguments);

    CLI::App* const types =
        app.add_subcommand("types", "Tell which types the plug-ins offer and which keys they read");
    types->add_option("NAME", arguments.typeName, "Only this type");
    types->add_flag("--json", arguments.json, "As JSON");

    CLI::App* const schema = app.add_subcommand(
        "schema", "Print an XML Schema of configurations, for editors and xmllint: keys, type names, ranges "
                  "and meanings as the plug-ins describe them");
    CLI::App* const docs = app.add_subcommand(
        "docs", "Print the manual of configurations (Markdown): every type with its keys and a short XML");
    for (CLI::App* const command : {types, schema, docs}) {
        command
            ->add_option("--plugin", arguments.plugins,
                         "Only this plug-in instead of all in the path; may be given several times")
            ->type_name("PLUGIN")
            ->allow_extra_args(false);
    }
}

int check(const SArguments& arguments, const CPluginPath& pluginPath, std::ostream& out)
{
    const CLoadedConfiguration loaded(pathOf(arguments.configuration), pluginPath);
    const CFaultList& faults = loaded.faults();
    const std::string& name = loaded.configuration().name();
    out << faults.report(name, arguments.strict);
    if (faults.refuses(arguments.strict)) {
        out << std::flush;
        return ExitBadConfiguration;
    }
    out << escapeControlCharacters(name) << ": no faults";
    if (const std::size_t warnings = faults.warnings()) {
        out << ", " << warnings << (warnings == 1 ? " warning" : " warnings");
    }
    out << std::endl;
    return ExitDone;
}

int print(const SArguments& arguments, const CPluginPath& pluginPath, std::ostream& out, std::ostream& err)
{
    const CLoadedConfiguration loaded(pathOf(arguments.configuration), pluginPath);
    if (!loaded.faults().empty()) {
        err << loaded.faults().report(loaded.configuration().name()) << std::flush;
        return ExitBadConfiguration;
    }
    out << effectiveConfiguration(loaded.configuration(), loaded.catalogue()) << std::flush;
    return ExitDone;
}

/// Loads the plug-ins that the command line names, and has them describe their types.
void describePlugins(const SArguments& arguments, const CPluginPath& pluginPath, CTypeCatalogue& catalogue)
{
    CPluginLoader loader(pluginPath, catalogue);
    for (const std::string& plugin : arguments.plugins.empty() ? pluginPath.plugins() : arguments.plugins) {
        loader.load(plugin);
    }
    loader.registerFactories();
    catalogue.resolve();
}

int types(const SArguments& arguments, const CPluginPath& pluginPath, std::ostream& out, std::ostream& err)
{
    CTypeCatalogue catalogue;
    describePlugins(arguments, pluginPath, catalogue);
    std::vector<const STypeDescription*> chosen = catalogue.types();
    if (!arguments.typeName.empty()) {
        std::vector<std::string> names;
        for (const STypeDescription* type : chosen) {
            names.push_back(type->name);
        }
        std::erase_if(chosen, [&](const auto* type) { return type->name != arguments.typeName; });
        if (chosen.empty()) {
            err << escapeControlCharacters("\"" + arguments.typeName +
                                           "\" is a type of no loaded plug-in; expected " +
                                           expectedChoices(arguments.typeName, names))
                << std::endl;
            return ExitUsage;
        }
    }
    out << (arguments.json ? typeReportAsJson(chosen) : typeReport(chosen)) << std::flush;
    return ExitDone;
}

int schema(const SArguments& arguments, const CPluginPath& pluginPath, std::ostream& out)
{
    CTypeCatalogue catalogue;
    describePlugins(arguments, pluginPath, catalogue);
    out << configurationSchema(catalogue) << std::flush;
    return ExitDone;
}

int docs(const SArguments& arguments, const CPluginPath& pluginPath, std::ostream& out)
{
    CTypeCatalogue catalogue;
    describePlugins(arguments, pluginPath, catalogue);
    out << configurationManual(catalogue) << std::flush;
    return ExitDone;
}

SWebOptions webOptions(const SArguments& arguments)
{
    SWebOptions options;
    parseListenAddress(arguments.http, options);
    options.names = arguments.httpNames;
    if (!arguments.tokenFile.empty()) {
        options.token = readTokenFile(pathOf(arguments.tokenFile));
    } else if (const auto token = environmentVariable("RIVLINK_HTTP_TOKEN")) {
        options.token = checkedToken(*token, "RIVLINK_HTTP_TOKEN");
    }
    return options;
}

int run(const SArguments& arguments, const CPluginPath& pluginPath,
        std::chrono::steady_clock::time_point programStart, std::ostream& out, std::ostream& err)
{
    SRunOptions options;
    options.configuration = pathOf(arguments.configuration);
    options.duration = parseDuration(arguments.duration);
    if (!arguments.record.empty()) {
        options.record = pathOf(arguments.record);
    }
    options.recordInterval = *parseDuration(arguments.recordInterval);
    options.replaceRecord = arguments.force;
    if (!arguments.history.empty()) {
        options.history = pathOf(arguments.history);
    }
    options.historyInterval = *parseDuration(arguments.historyInterval);
    options.historyRetention = {*parseDuration(arguments.historyKeep), *parseSize(arguments.historySize)};
    options.quiet = arguments.quiet;
    options.realtime = arguments.realtime;
    options.strict = arguments.strict;
    options.isVirtual = arguments.isVirtual;
    options.programStart = programStart;
    options.version = RIVLINK_VERSION;
    if (!arguments.http.empty()) {
        options.web = webOptions(arguments);
    }
    options.limits = options.limits.scaled(arguments.limitScale);
    return runConfiguration(options, pluginPath, out, err);
}

} // namespace

int runApplication(int argc, const char* const* argv, std::chrono::steady_clock::time_point programStart,
                   std::ostream& out, std::ostream& err)
{
    SArguments arguments;
    CLI::App app("", "rivlink-host");
    describeCommandLine(app, arguments);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error, out, err) == 0 ? ExitDone : ExitUsage;
    }
    try {
        setUpLogging(arguments.logLevel);
        const CPluginPath pluginPath = CPluginPath::withDefaults(arguments.pluginPath);
        if (app.got_subcommand("run")) {
            return run(arguments, pluginPath, programStart, out, err);
        }
        // the output is the command's result: it has to arrive
        const auto delivered = [&](int result) {
            if (out.flush()) {
                return result;
            }
            err << "the output could not be written" << std::endl;
            return static_cast<int>(ExitFailure);
        };
        if (app.got_subcommand("export") || app.got_subcommand("report")) {
            SHistoryOptions options = arguments.historyOptions;
            options.history = pathOf(arguments.historyFile);
            if (!arguments.historyOutput.empty()) {
                options.output = pathOf(arguments.historyOutput);
            }
            return delivered(app.got_subcommand("export") ? exportHistoryFile(options, out, err)
                                                          : reportHistoryFile(options, out, err));
        }
        if (app.got_subcommand("check")) {
            return delivered(check(arguments, pluginPath, out));
        }
        if (app.got_subcommand("print")) {
            return delivered(print(arguments, pluginPath, out, err));
        }
        if (app.got_subcommand("schema")) {
            return delivered(schema(arguments, pluginPath, out));
        }
        if (app.got_subcommand("docs")) {
            return delivered(docs(arguments, pluginPath, out));
        }
        return delivered(types(arguments, pluginPath, out, err));
    } catch (const CHostException& exception) {
        // names of files and objects, which may hold anything, are among the texts
        err << escapeControlCharacters(exception.what()) << std::endl;
        return exception.code();
    } catch (const std::exception& exception) {
        err << "failed: " << escapeControlCharacters(exception.what()) << std::endl;
        return ExitFailure;
    }
}

} // namespace Rvl
