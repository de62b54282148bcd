// The command line of ombrel.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

// As the parser takes every other text: by default it would make a path of the system's own bytes.
namespace CLI::detail {
inline bool lexical_cast(const std::string& text, std::filesystem::path& path) {
  path = std::u8string(text.begin(), text.end());
  return true;
}
}  // namespace CLI::detail

#include <CLI/CLI.hpp>

#include "arguments.h"
#include "authenticate_command.h"
#include "bench_command.h"
#include "check_command.h"
#include "digest_command.h"
#include "exit_codes.h"
#include "info_command.h"
#include "key.h"
#include "keygen_command.h"
#include "run_command.h"
#include "seal_command.h"
#include "system_calls.h"
#include "tool_error.h"
#include "verify_command.h"

namespace OMB::tool {
namespace {

using Command = std::function<ExitCode()>;

std::string exitCodeTable() {
  std::string text = "Exit codes:\n";
  for (const ExitMeaning& row : exitMeanings) {
    const std::string code = std::to_string(static_cast<int>(row.code));
    text += "  " + std::string(2 - code.size(), ' ') + code + "  " + row.meaning + "\n";
  }
  return text;
}

/// An option whose text `parse` turns into a value; a text that it refuses is told to the user.
template <typename Value>
CLI::Option* addParsed(CLI::App& app, const std::string& name,
                       bool (*parse)(std::string_view, Value&), std::function<void(Value)> store,
                       const std::string& help, const std::string& form) {
  const auto take = [=](const std::string& text) {
    Value value{};
    if (!parse(text, value)) throw CLI::ValidationError(name, "\"" + text + "\" is not " + form);
    store(value);
  };
  return app.add_option_function<std::string>(name, take, help)->type_name(form);
}

/// The range is told when it is missed; in the help it would hide the option.
template <typename Number>
CLI::Validator inRange(Number least, Number most) {
  return CLI::Range(least, most).description("");
}

/// At most one of them. The digits behind --key have been taken out of the command line before it
/// is parsed.
void addKeyOptions(CLI::App& app, KeySource& source) {
  const auto ignore = [](const std::string&) {};
  CLI::Option* const file =
      app.add_option("--key-file", source.file,
                     "file with the key of the sealed pair in 32 hex digits, which only you may "
                     "read; - is standard input")
          ->type_name("FILE");
  CLI::Option* const variable =
      app.add_option("--key-env", source.variable, "the key is in this variable of the environment")
          ->type_name("NAME");
  CLI::Option* const given =
      app.add_option_function<std::string>(
             "--key", ignore,
             "the key itself; unsafe: for some milliseconds every user of the machine can read it, "
             "and shells keep it in their history")
          ->type_name("HEX32");
  file->excludes(variable)->excludes(given);
  variable->excludes(given);
}

void addPackageOptions(CLI::App& app, PackageOptions& options) {
  app.add_option("--plugin", options.manifest,
                 "manifest of the plug-in; " OMBREL_PLUGINS
                 "/openvino.json from this program unless given")
      ->type_name("MANIFEST");
  CLI::Option* const trust =
      app.add_option("--trust", options.trust,
                     "the manifest has to be signed by the key whose public half is in this file")
          ->type_name("PUBLIC");
  app.add_option("--least-counter", options.leastCounter,
                 "and its counter may not be lower; 0 unless given")
      ->needs(trust)
      ->type_name("N");
  app.add_flag("--strict", options.strict,
               "refuse files that other users may change, and libraries that are not listed");
}

void addModelOptions(CLI::App& app, ModelOptions& options, KeySource& key) {
  app.add_option("MODEL_BASE", options.modelBase, "path of the model pair, without .xml and .bin")
      ->required()
      ->type_name("");
  addPackageOptions(app, options.package);
  app.add_option("--config", options.configFile, "configuration file, which the options override")
      ->type_name("FILE");
  app.add_option("--data-path", options.dataPath,
                 "prefix of the engine's plugins.xml, ending in a slash; unless given, the "
                 "backend's folder")
      ->type_name("PREFIX");
  app.add_option("--threads", options.threads, "number of threads of the engine; 1 unless given")
      ->check(inRange(1, 1024))
      ->type_name("N");
  addKeyOptions(app, key);
}

void addInputOptions(CLI::App& app, std::optional<ImageSize>& size, InputForm& form) {
  addParsed<ImageSize>(
      app, "--size", parseSize, [&size](ImageSize value) { size = value; },
      "width and height of the network's input; the model's own unless given", "WxH");
  addParsed<InputForm>(
      app, "--as", parseInputForm, [&form](InputForm value) { form = value; },
      "form in which the image is handed over; u8-hwc unless given", inputFormNames);
}

void addFenceOptions(CLI::App& app, RunOptions& options) {
  CLI::Option* const fenced = app.add_flag(
      "--fenced", options.fenced,
      "run the engine in a process without files, network and other programs, whose crash is an "
      "error like any other; Linux only");
  app.add_option("--fence-limit", options.fenceLimit,
                 "seconds that it may take for loading, and for each image; 60 unless given")
      ->check(inRange(0.001, 86400.0))
      ->needs(fenced)
      ->type_name("S");
}

Command addRun(CLI::App& app, RunOptions& options, KeySource& key) {
  addModelOptions(app, options.question.model, key);
  app.add_option("IMAGE", options.images, "PNG, JPEG or PPM files; - is standard input")
      ->required()
      ->type_name("");
  addInputOptions(app, options.question.size, options.question.form);
  addFenceOptions(app, options);
  app.add_option("--labels", options.labels, "names of the classes, one a line")->type_name("FILE");
  app.add_option("--top", options.top, "how many of the best classes are shown; 5 unless given")
      ->type_name("N");
  app.add_option("--raw", options.rawOutput,
                 "write the output of all images, 32-bit floats, one image after another; classes "
                 "are then shown only with --labels or --top; - is standard output")
      ->type_name("FILE");
  app.add_option("--save", options.pictures,
                 "write each image as a PNG of its name into this folder, with the best classes "
                 "below it or, of an output that is a map, planes of areas or rows of boxes "
                 "(image, class, confidence, two corners), with that drawn on it")
      ->type_name("DIR");
  app.add_flag("--json", options.json, "print the answers as JSON");
  app.footer(
      "The time shown is that of one run after one to warm up, with the conversion of the "
      "image.\n\n" +
      exitCodeTable());
  return [&] {
    if (key.file == "-" && std::ranges::count(options.images, "-") > 0) {
      throw ToolError(ExitCode::Usage, "standard input cannot be both the key and an image");
    }
    options.question.model.key = fetchKey(key);
    return runCommand(options);
  };
}

Command addBench(CLI::App& app, BenchOptions& options, KeySource& key) {
  addModelOptions(app, options.model, key);
  addInputOptions(app, options.size, options.form);
  app.add_option("--runners", options.runners,
                 "number of runners, each in a thread; 1 unless given")
      ->check(inRange(1, 1024))
      ->type_name("N");
  app.add_option("--seconds", options.seconds, "how long to measure; 5 unless given")
      ->check(inRange(0.001, 86400.0))
      ->type_name("S");
  app.add_option("--json", options.jsonFile,
                 "write the figures as JSON, too; - is standard output, in the place of the text")
      ->type_name("FILE");
  app.add_option("--plot", options.plotFile, "draw the times of the runs as an SVG, too")
      ->type_name("FILE");
  return [&] {
    options.model.key = fetchKey(key);
    return benchCommand(options);
  };
}

Command addInfo(CLI::App& app, InfoOptions& options, KeySource& key) {
  addModelOptions(app, options.model, key);
  app.add_flag("--json", options.json, "print it as JSON");
  return [&] {
    options.model.key = fetchKey(key);
    return infoCommand(options);
  };
}

ByteVector fetchRequiredKey(KeySource& key) {
  if (!key.isSet()) throw CLI::RequiredError("one of --key-file, --key-env and --key");
  return fetchKey(key);
}

Command addSeal(CLI::App& app, SealOptions& options, KeySource& key) {
  app.add_option("IN_BASE", options.inBase, "path of the pair in the clear, without .xml and .bin")
      ->required()
      ->type_name("");
  app.add_option("OUT_BASE", options.outBase, "path of the sealed pair, likewise")
      ->required()
      ->type_name("");
  addKeyOptions(app, key);
  return [&] {
    options.key = fetchRequiredKey(key);
    return sealCommand(options);
  };
}

void addProvenPair(CLI::App& app, std::string& base, KeySource& key) {
  app.add_option("MODEL_BASE", base, "path of the model pair, without .xml and .bin")
      ->required()
      ->type_name("");
  addKeyOptions(app, key);
}

Command addVerify(CLI::App& app, VerifyOptions& options, KeySource& key) {
  addProvenPair(app, options.base, key);
  return [&] {
    options.key = fetchRequiredKey(key);
    return verifyCommand(options);
  };
}

Command addAuthenticate(CLI::App& app, AuthenticateOptions& options, KeySource& key) {
  addProvenPair(app, options.base, key);
  return [&] {
    options.key = fetchRequiredKey(key);
    return authenticateCommand(options);
  };
}

Command addKeygen(CLI::App& app, KeygenOptions& options, KeySource&) {
  app.require_option(1);
  app.add_option("--model", options.model, "new file for the key of a model pair")
      ->type_name("FILE");
  app.add_option("--signing", options.signing,
                 "new file for a key that signs manifests; its public half comes beside it as "
                 "FILE.pub")
      ->type_name("FILE");
  return [&options] { return keygenCommand(options); };
}

Command addDigest(CLI::App& app, DigestOptions& options, KeySource&) {
  app.add_option("LIBRARY", options.libraries,
                 "files to digest, in the order of the manifest; may be left out to sign one")
      ->type_name("");
  addParsed<ByteRange>(
      app, "--range", parseRange, [&options](ByteRange range) { options.range = range; },
      "part of each file; all of it unless given", "OFFSET:LENGTH");
  app.add_option("--manifest", options.manifest,
                 "add the digests to this manifest, which is made if it is not there")
      ->type_name("FILE");
  const auto addPaths = [&app](const char* name, std::vector<std::filesystem::path>& paths,
                               const std::string& help) {
    app.add_option(name, paths, help)->needs("--manifest")->type_name("PATH");
  };
  addPaths("--outside", options.outside, "libraries of its process outside the plug-in's folder");
  addPaths("--file", options.files, "other files that lie in the folder");
  app.add_flag("--closed", options.closed, "nothing that is not listed may lie in the folder")
      ->needs("--manifest");
  const auto addField = [&app](const char* name, std::optional<std::string>& field,
                               const std::string& help) {
    app.add_option(name, field, help + " unless given")->needs("--manifest")->type_name("TEXT");
  };
  addField("--name", options.name, "a new manifest's plug-in: the first LIBRARY");
  addField("--folder", options.folder, "its folder, from the manifest's own: \".\"");
  addField("--initialize", options.initialize, "its initialize entry: \"Initialize\"");
  addField("--create", options.create, "its create entry: \"Create\"");
  addField("--model-suffix", options.modelSuffix, "suffix of its models: \".xml\"");
  app.add_option("--counter", options.counter,
                 "number that tells a newer manifest from an older one; only goes up")
      ->needs("--manifest")
      ->type_name("N");
  app.add_option("--sign", options.signingKey,
                 "sign the manifest with the key in this file, as MANIFEST.sig")
      ->needs("--manifest")
      ->type_name("KEYFILE");
  return [&options] { return digestCommand(options); };
}

Command addCheck(CLI::App& app, CheckOptions& options, KeySource&) {
  addPackageOptions(app, options.package);
  app.add_flag("--json", options.json, "print what was tested as JSON");
  return [&options] { return checkCommand(options); };
}

/// All that the command line can ask for. The commands' options live here.
class CommandLine {
 public:
  CommandLine() {
    app.allow_windows_style_options(false);  // a slash begins a path
    app.require_subcommand(1);
    app.footer(exitCodeTable());
    app.set_version_flag("--version", "ombrel " OMBREL_VERSION "\n" OMBREL_BUILT_WITH);
    add("run", "Run a network on images and show the best classes", addRun, runOptions);
    add("bench", "Measure how fast a network runs", addBench, benchOptions);
    add("info", "Tell what a network takes and gives", addInfo, infoOptions);
    add("seal", "Encrypt a model pair, and make its tags", addSeal, sealOptions);
    add("verify", "Prove a model pair by its tags, without loading it", addVerify, verifyOptions);
    add("authenticate", "Make the tags of a model pair in the clear", addAuthenticate,
        authenticateOptions);
    add("keygen", "Make a key for sealing or signing", addKeygen, keygenOptions);
    add("digest", "Digest libraries, for a plug-in's manifest", addDigest, digestOptions);
    add("check", "Load a plug-in and test its dependencies", addCheck, checkOptions);
  }

  void setKey(ByteVector given) { key.given = std::move(given); }

  /// Parses and does what is asked for.
  ExitCode run(int count, char** arguments) {
    if (count > 1) requireCommand(arguments[1]);
    app.parse(count, arguments);
    return commands.at(app.get_subcommands().front())();
  }

  /// Shows what a parse that is no command asks for: help, or the version.
  void show(const CLI::ParseError& request) { app.exit(request); }

 private:
  /// The parser would say that a command is missing.
  void requireCommand(const std::string& name) const {
    const auto isNamed = [&](const auto& command) { return command.first->get_name() == name; };
    if (name.starts_with('-') || std::ranges::any_of(commands, isNamed)) return;
    throw CLI::ParseError("there is no command " + name, CLI::ExitCodes::ExtrasError);
  }

  template <typename Options>
  void add(const char* name, const char* help, Command (*wire)(CLI::App&, Options&, KeySource&),
           Options& options) {
    CLI::App* const command = app.add_subcommand(name, help);
    commands[command] = wire(*command, options, key);
  }

  CLI::App app{"Runs neural networks through the Ombrel backend plug-in.", "ombrel"};
  std::map<CLI::App*, Command> commands;
  RunOptions runOptions;
  BenchOptions benchOptions;
  InfoOptions infoOptions;
  SealOptions sealOptions;
  VerifyOptions verifyOptions;
  AuthenticateOptions authenticateOptions;
  KeySource key;
  KeygenOptions keygenOptions;
  DigestOptions digestOptions;
  CheckOptions checkOptions;
};

/// Texts of the engine come in several lines; an error is one.
std::string onOneLine(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
  const auto isDouble = [](char left, char right) { return left == ' ' && right == ' '; };
  text.erase(std::unique(text.begin(), text.end(), isDouble), text.end());
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

ExitCode fail(ExitCode code, const std::string& message) {
  std::fflush(stdout);
  std::fprintf(stderr, "ombrel: %s\n", onOneLine(message).c_str());
  return code;
}

/// What was printed may not have arrived, as on a disk that is full.
ExitCode finishOutput(ExitCode code) {
  errno = 0;
  const bool arrived = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
  if (arrived || code != ExitCode::Success) return code;
  const std::string reason = errno == 0 ? "" : std::string(": ") + std::strerror(errno);
  return fail(ExitCode::File, "cannot write standard output" + reason);
}

ExitCode runCommandLine(std::span<char*> words) {
  CommandLine commandLine;
  try {
    commandLine.setKey(takeKey(words));
    return commandLine.run(static_cast<int>(words.size()), words.data());
  } catch (const CLI::Success& request) {
    commandLine.show(request);
    return ExitCode::Success;
  } catch (const CLI::ParseError& error) {
    return fail(ExitCode::Usage, std::string(error.what()) + "; see ombrel --help");
  } catch (const ToolError& error) {
    return fail(error.code, error.what());
  }
}

}  // namespace
}  // namespace OMB::tool

int main(int count, char** arguments) {
  using namespace OMB::tool;
  try {
    guardStandardStreams();
    Arguments words(count, arguments);
    return static_cast<int>(finishOutput(runCommandLine(words.get())));
  } catch (const std::exception& error) {
    return static_cast<int>(fail(ExitCode::Failure, error.what()));
  }
}
