#include "tools/talvdicom/command_line.h"

namespace talv {
namespace {
std::vector<const CLI::App*> Commands(const CommandLine& line)
{
    const auto all = line.app.get_subcommands([](const CLI::App*) { return true; });
    return {all.begin(), all.end()};
}

/// The options that are worth completing; help is one of every command.
std::vector<const CLI::Option*> Options(const CLI::App& app)
{
    std::vector<const CLI::Option*> options;
    for (const CLI::Option* option : app.get_options())
        if (!option->get_positional() && !option->get_lnames().empty() &&
            (app.get_parent() == nullptr || option->get_lnames()[0] != "help"))
            options.push_back(option);
    return options;
}

/// Names of the options of `app`: "-y", "--overwrite".
std::vector<std::string> OptionNames(const CLI::App& app)
{
    std::vector<std::string> names;
    for (const CLI::Option* option : Options(app)) {
        for (const std::string& name : option->get_snames()) names.push_back("-" + name);
        for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
    return names;
}

std::string Joined(const std::vector<std::string>& words, const char* between)
{
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
    return text;
}

/// The words that an option may be followed by, where they are few.
constexpr struct
{
    const char* option;
    const char* words;
} kWords[] = {
    {"--color", "auto always never"},
    {"--format", "y4m bgr24 rgb24 gray gray16le"},
    {"--window", "auto minmax file none"},
};

std::string Bash(const CommandLine& line)
{
    std::vector<std::string> names;
    for (const CLI::App* command : Commands(line)) names.push_back(command->get_name());
    const std::string general = Joined(OptionNames(line.app), " ");
    std::string script =
        "# bash completion of talvdicom\n_talvdicom()\n{\n"
        "    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]} command= i\n"
        "    for ((i = 1; i < COMP_CWORD; i++)); do\n        case ${COMP_WORDS[i]} in\n            " +
        Joined(names, "|") +
        ") command=${COMP_WORDS[i]}; break ;;\n        esac\n    done\n"
        "    local words=\n    case $before in\n";
    for (const auto& entry : kWords)
        script += std::string("        ") + entry.option + ") COMPREPLY=($(compgen -W \"" + entry.words +
                  "\" -- \"$word\")); return ;;\n";
    script +=
        "        --out) mapfile -t COMPREPLY < <(compgen -d -- \"$word\"); return ;;\n    esac\n    case "
        "$command in\n";
    for (const CLI::App* command : Commands(line))
        script +=
            "        " + command->get_name() + ") words=\"" + Joined(OptionNames(*command), " ") + "\" ;;\n";
    script += "        *) words=\"" + Joined(names, " ") +
              "\" ;;\n    esac\n"
              "    if [[ $command == completion ]]; then words=\"bash zsh fish\"; fi\n"
              "    if [[ $word == -* || -z $command || $command == completion ]]; then\n"
              "        COMPREPLY=($(compgen -W \"$words " +
              general +
              "\" -- \"$word\"))\n"
              "    else\n        mapfile -t COMPREPLY < <(compgen -f -- \"$word\")\n    fi\n}\n"
              "complete -o filenames -F _talvdicom talvdicom\n";
    return script;
}

/// `text` inside single quotes, where brackets and colons mean something to zsh.
std::string ZshText(const std::string& text)
{
    std::string plain;
    for (const char c : text) {
        if (c == '\'')
            plain += "'\\''";
        else if (c == '[' || c == ']' || c == ':')
            plain += std::string("\\") + c;
        else
            plain += c;
    }
    return plain;
}

std::string ZshOptions(const CLI::App& app)
{
    std::string lines;
    for (const CLI::Option* option : Options(app)) {
        const std::string& name = option->get_lnames()[0];
        std::string value;
        if (option->get_expected_max() > 0) value = ":" + ZshText(option->get_type_name()) + ":";
        if (name == "out") value += "_files -/";
        for (const auto& entry : kWords)
            if ("--" + name == entry.option) value += std::string("(") + entry.words + ")";
        lines += " '--" + name + "[" + ZshText(option->get_description()) + "]" + value + "'";
    }
    return lines;
}

std::string Zsh(const CommandLine& line)
{
    std::string script = "#compdef talvdicom\n_talvdicom() {\n    local -a commands\n    commands=(\n";
    for (const CLI::App* command : Commands(line))
        script += "        '" + command->get_name() + ":" + ZshText(command->get_description()) + "'\n";
    script +=
        "    )\n    if (( CURRENT == 2 )); then\n        _describe command commands\n        return\n    fi\n"
        "    case $words[2] in\n";
    for (const CLI::App* command : Commands(line)) {
        const std::string operand =
            command == line.completion ? "'1:shell:(bash zsh fish)'" : "'*:file:_files'";
        script += "        " + command->get_name() +
                  ")\n            shift words; (( CURRENT-- ))\n            _arguments" +
                  ZshOptions(*command) + ZshOptions(line.app) + " " + operand + " ;;\n";
    }
    return script + "    esac\n}\n_talvdicom \"$@\"\n";
}

/// `text` inside single quotes of fish.
std::string FishText(const std::string& text)
{
    std::string plain;
    for (const char c : text) plain += c == '\'' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    return plain;
}

void FishOptions(const CLI::App& app, const std::string& condition, std::string* script)
{
    for (const CLI::Option* option : Options(app)) {
        const std::string& name = option->get_lnames()[0];
        *script += "complete -c talvdicom" + condition + " -l " + name;
        if (!option->get_snames().empty()) *script += " -s " + option->get_snames()[0];
        if (option->get_expected_max() > 0) *script += name == "out" ? " -r" : " -x";
        for (const auto& entry : kWords)
            if ("--" + name == entry.option) *script += std::string(" -a '") + entry.words + "'";
        *script += " -d '" + FishText(option->get_description()) + "'\n";
    }
}

std::string Fish(const CommandLine& line)
{
    std::string script = "# fish completion of talvdicom\n";
    for (const CLI::App* command : Commands(line))
        script += "complete -c talvdicom -n __fish_use_subcommand -f -a " + command->get_name() + " -d '" +
                  FishText(command->get_description()) + "'\n";
    FishOptions(line.app, "", &script);
    for (const CLI::App* command : Commands(line))
        FishOptions(*command, " -n '__fish_seen_subcommand_from " + command->get_name() + "'", &script);
    return script +
           "complete -c talvdicom -n '__fish_seen_subcommand_from completion' -x -a 'bash zsh fish'\n";
}
}  // namespace

std::string CompletionScript(const CommandLine& line, const std::string& shell)
{
    return shell == "zsh" ? Zsh(line) : shell == "fish" ? Fish(line) : Bash(line);
}
}  // namespace talv
