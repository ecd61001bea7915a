// The configuration file at its fixed path, in an /opt that belongs to the test alone.
#ifndef ZEF_TESTS_PACKAGE_HOST_PRIVATE_CONFIG_H
#define ZEF_TESTS_PACKAGE_HOST_PRIVATE_CONFIG_H

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <cstdlib>

// UUID, switches, and one storage object with two addresses.
inline void WritePrivateConfig()
{
    if (std::getenv("ZEF_PRIVATE_OPT") == nullptr) {
        throw std::runtime_error("to be run by private-opt: it writes below /opt");
    }
    const std::filesystem::path folder = "/opt/quenlar/vextramo/conf";
    std::filesystem::create_directories(folder);
    std::ofstream stream(folder / "zef_config.xml");
    stream << "<?xml version=\"1.0\"?>\n"
              "<Config>\n"
              "    <Uuid type=\"string\">0fd8a4d6-5d0e-4b5e-9a52-3f1f0a1c9e77</Uuid>\n"
              "    <Deduplication type=\"string\">ON</Deduplication>\n"
              "    <Compression type=\"string\">ON</Compression>\n"
              "    <StorageObject>\n"
              "        <Name>array</Name>\n"
              "        <User>client_user</User>\n"
              "        <Password>sealed:secret</Password>\n"
              "        <LinkType>0</LinkType>\n"
              "        <Ips>192.0.2.1</Ips>\n"
              "        <Ips>192.0.2.2</Ips>\n"
              "    </StorageObject>\n"
              "</Config>\n";
    stream.close();
    if (!stream) {
        throw std::runtime_error("cannot write the configuration file");
    }
}

#endif
