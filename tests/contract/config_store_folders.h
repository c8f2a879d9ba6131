// Folders of a test's own for the plain-Linux ground's store.
#ifndef TESTS_CONTRACT_CONFIG_STORE_FOLDERS_H
#define TESTS_CONTRACT_CONFIG_STORE_FOLDERS_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/config_store.h"
#include "platform/linux/store/admin.h"

// While one lives, the process's store is in a fresh folder. The folder "run" is not made before the store makes it.
class StoreFolders
{
public:
    StoreFolders()
    {
        std::string name = (std::filesystem::temp_directory_path() / "store_XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr)
            throw std::runtime_error("no folder for the test");
        top = name;
        setenv("TIME_CHECK_RUN_DIR", run().c_str(), 1);
        setenv("TIME_CHECK_CONF_DIR", conf().c_str(), 1);
    }
    ~StoreFolders()
    {
        config_store_close();
        std::error_code ignored;
        std::filesystem::remove_all(top, ignored);
    }
    StoreFolders(const StoreFolders &) = delete;
    StoreFolders &operator=(const StoreFolders &) = delete;

    // A power cut: what is in memory is gone.
    void restart() const
    {
        config_store_close();
        std::filesystem::remove_all(run());
    }

    std::filesystem::path run() const
    {
        return top / "run";
    }
    std::filesystem::path conf() const
    {
        return top / "conf";
    }
    std::filesystem::path committed() const
    {
        return conf() / "config.txt";
    }

private:
    std::filesystem::path top;
};

// The value of a key, "(none)" when it is missing.
inline std::string value_of(const std::string &key)
{
    std::vector<char> value(CONFIG_STORE_VALUE_MAX + 1);
    return GetValue(key.c_str(), value.data(), value.size()) == 1 ? value.data() : "(none)";
}

inline bool append_piece(void *text, const char *piece, size_t length)
{
    static_cast<std::string *>(text)->append(piece, length);
    return true;
}

// What cfm list prints.
inline std::string listed(const char *prefix)
{
    std::string text;
    return config_store_list(prefix, append_piece, &text) ? text : "(failed)";
}

inline std::string read_file(const std::filesystem::path &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void write_file(const std::filesystem::path &path, const std::string &text)
{
    std::ofstream(path, std::ios::binary) << text;
}

#endif
