// vorncast: reads CCTV recordings through the Vorncast decoders' C interface and lists, probes,
// exports, converts and summarises them.

#include "support/Arguments.h"
#include "support/Terminal.h"
#include "vorncast/Commands.h"
#include "vorncast/Library.h"

#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

using namespace VorncastTool;

namespace {

struct CommandSpec {
    const char* name;
    const char* usage;
    const char* summary;
    std::vector<OptionSpec> options;
    int (*run)(const CommandContext&);
};

const OptionSpec Json{"json", false};
const OptionSpec Verbose{"verbose", false};
const OptionSpec DecoderOption{"decoder", true};
const OptionSpec StreamOption{"stream", true};
const OptionSpec From{"from", true};
const OptionSpec To{"to", true};

const std::vector<CommandSpec>& Commands() {
    static const std::vector<CommandSpec> commands = {
        {"decoders", "vorncast decoders [--json]", "the table of decoders", {Json, Verbose}, RunDecoders},
        {"probe",
         "vorncast probe PATH [--decoder NAME|GUID|INDEX] [--json]",
         "which decoder takes the recording, its tracks, streams, formats, times and frame counts",
         {Json, Verbose, DecoderOption},
         RunProbe},
        {"frames",
         "vorncast frames PATH [--stream N] [--from TIME] [--to TIME] [--decoder D] [--json]",
         "one line per frame: index, stream, recorder time, stream time, camera (pictures are not decoded)",
         {Json, Verbose, DecoderOption, StreamOption, From, To},
         RunFrames},
        {"export",
         "vorncast export PATH --out DIR [--stream N] [--from TIME] [--to TIME] [--every N] [--decoder D]",
         "pictures as PNG files named by camera and recorder time, with a manifest and a frame log",
         {Verbose, DecoderOption, StreamOption, From, To, {"out", true}, {"every", true}},
         RunExport},
        {"sheet",
         "vorncast sheet PATH OUT.png [--columns N] [--decoder D]",
         "a contact sheet: one row per camera, thumbnails spread over the recording with their times",
         {Verbose, DecoderOption, {"columns", true}, {"width", true}},
         RunSheet},
        {"convert",
         "vorncast convert PATH OUTDIR [--overlay] [--from TIME] [--to TIME] [--decoder D]",
         "one MP4 file per camera, timed by the stream times, with a manifest and a frame log",
         {Verbose, DecoderOption, From, To, {"overlay", false}},
         RunConvert},
        {"sample",
         "vorncast sample DIR [--frames N] [--size WxH] [--mjpeg|--folder]",
         "writes a sample recording (a moving test pattern showing camera and time): an MP4 as phones write "
         "it, or JPEG pictures back to back (--mjpeg) or as a folder of files (--folder)",
         {Verbose, {"frames", true}, {"size", true}, {"mjpeg", false}, {"folder", false}},
         RunSample},
    };
    return commands;
}

void PrintUsage(FILE* out) {
    std::fprintf(out,
                 "vorncast: reads CCTV recordings with the Vorncast decoders (library %s)\n\nCommands:\n",
                 Library::Version().c_str());
    for (const CommandSpec& command : Commands()) {
        std::fprintf(out, "  %s\n      %s\n", command.usage, command.summary);
    }
    std::fprintf(
        out,
        "\nTimes are written YYYY/MM/DD hh:mm:ss.mmm on the recorder's clock. --stream N counts the\n"
        "streams of all tracks from 0, as `vorncast probe` lists them. --verbose shows the library's log.\n");
}

const CommandSpec* FindCommand(const std::string& name) {
    for (const CommandSpec& command : Commands()) {
        if (name == command.name) {
            return &command;
        }
    }
    return nullptr;
}

int Run(const CommandSpec& command, const std::vector<std::string>& words,
        const std::vector<std::string>& all) {
    const Arguments arguments = Arguments::Parse(words, command.options);
    Library library(arguments.Flag("verbose"));
    Collection collection;
    const CommandContext context{arguments, collection, all};
    return command.run(context);
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> all(argv, argv + argc);
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "help") == 0) {
        PrintUsage(argc < 2 ? stderr : stdout);
        return argc < 2 ? ExitUsage : ExitSuccess;
    }
    const CommandSpec* command = FindCommand(argv[1]);
    if (command == nullptr) {
        std::fprintf(stderr, "vorncast: unknown command \"%s\"\n\n", argv[1]);
        PrintUsage(stderr);
        return ExitUsage;
    }
    CatchInterrupts();
    try {
        return Run(*command, std::vector<std::string>(argv + 2, argv + argc), all);
    } catch (const UsageError& error) {
        std::fprintf(stderr, "vorncast %s: %s\nusage: %s\n", command->name, error.what(), command->usage);
        return ExitUsage;
    } catch (const NoDecoderError& error) {
        std::fprintf(stderr, "vorncast %s: %s\n", command->name, error.what());
        return ExitNoDecoder;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vorncast %s: %s\n", command->name, error.what());
        return Interrupted() ? ExitInterrupted : ExitFailure;
    }
}
