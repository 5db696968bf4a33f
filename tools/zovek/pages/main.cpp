// Writes the pages of the manual and the completions into a folder: run as the client is built, and not
// installed.
#include "pages/pages.h"
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

using namespace client;

static void write(const std::filesystem::path& folder)
{
    std::filesystem::create_directories(folder);
    const auto file = [&](const std::string& name, const std::string& text) {
        std::ofstream out(folder / name, std::ios::binary);
        out << text;
        if (!out.flush()) throw std::runtime_error("can't write " + (folder / name).string());
    };
    const Program program = client::program();
    file("zovek.1", pages::manual(program));
    for (const Program::Row& row : program.rows)
        file("zovek-" + std::string(row.command->name) + ".1", pages::manual(row));
    file("zovek.bash", pages::bash(program));
    file("_zovek", pages::zsh(program));
    file("zovek.fish", pages::fish(program));
}

int main(int argc, char** argv)
{
    try {
        if (argc != 2) throw std::runtime_error("usage: zovek_pages_writer FOLDER");
        write(argv[1]);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
