#include <iostream>
#include <memory>

#include "control/Commands.h"
#include "control/FileChange.h"

namespace
{

struct ImportOptions : ChangeOptions
{
    std::string source;
};

/// The source is read before anything is held, and once: what becomes of it in the meantime doesn't matter.
void import(const ImportOptions& options)
{
    PreferenceFile source(options.source);
    source.require();
    std::string refusal;
    changeFile(options, Refused::MayBeReplaced,
               [&](PreferenceFile& file)
               {
                   if (file.report.refused && !file.missing)
                       refusal = refusalOf(file.report);
                   file.store.swapTables(source.store);
                   return true;
               });
    if (!refusal.empty())
        std::cerr << "ostrivanectl: replaced a file that could not be read: " << refusal << '\n';
    if (!source.report.passedOver.empty())
        std::cerr << "ostrivanectl: not taken from " << options.source << ": " << lossesOf(source.report) << '\n';
}

}

void addImport(CLI::App& program, int&)
{
    const auto options = std::make_shared<ImportOptions>();
    CLI::App* command = program.add_subcommand(
        "import", "Replaces all settings by those of another file, also where the file can't be read any more.");
    refuseEmpty(command->add_option("FILE", options->source, "A preference file that 'ostrivanectl check' accepts"))
        ->required();
    options->addTo(*command);
    command->callback([options] { import(*options); });
}
