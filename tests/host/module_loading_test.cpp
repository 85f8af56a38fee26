// Finding, loading and connecting the module; its objects, and the base class that the host gives them.

#include "memory_host.h"
#include "service_calls.h"

#include <vor/imglue.h>

#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>

namespace vor::test {
namespace {

std::string refusal_of(const std::string &module_path) {
    HostOptions options;
    options.module_path = module_path;
    MemoryHost host(options);
    try {
        host->load_module();
    } catch (const ConversionError &error) {
        EXPECT_EQ(Failure::machine, error.failure());
        return error.what();
    }
    return "loaded";
}

TEST(ModuleLoading, FilesThatAreNoModuleAreRefusedInOneSentence) {
    const std::filesystem::path folder = std::filesystem::path(testing::TempDir()) / "vordta_module_loading";
    std::filesystem::create_directories(folder);
    const std::string text_file = (folder / "text.so").string();
    std::ofstream(text_file) << "no library";
    const std::string missing = (folder / "missing.so").string();
    Dl_info library{};
    ASSERT_NE(0, dladdr(reinterpret_cast<void *>(&std::abort), &library)); // some library without the entries
    const std::string other = std::filesystem::canonical(library.dli_fname).string();

    EXPECT_EQ("The module is not there; looked for " + missing + ".", refusal_of(missing));
    EXPECT_TRUE(refusal_of(text_file).starts_with("The module " + text_file + " cannot be loaded: "));
    if (!other.ends_with("module_loading_test")) {
        EXPECT_EQ("The module " + other + " has no entry mcn_main.", refusal_of(other));
    }
    std::filesystem::remove_all(folder);
}

TEST(ModuleLoading, TheModuleMakesObjectsAndLeavesNothing) {
    MemoryHost host;
    ASSERT_NO_THROW(host->load_module());
    for (int times = 0; times < 2; ++times) {
        IMGLUE *object = host->new_object();
        ASSERT_NE(nullptr, object);
        EXPECT_EQ(0, object->set_outmode(object, OUTMODE_IMPORT));
        EXPECT_EQ(OUTMODE_IMPORT, object->outmode);
        EXPECT_EQ(0, object->complete(object));
        EXPECT_NE(0, object->set_option(object, "X", 1, "Y", 1));
        EXPECT_NE(nullptr, object->VORIMDF_C.new_);
        EXPECT_GT(host->blocks_in_use(), 0U);
        host->delete_object(object);
        EXPECT_EQ("", host.left_over());
    }
    EXPECT_EQ(0, host.memory.blocks());
}

// Whatever allocation fails, the refusal says so and nothing is left.
TEST(ModuleLoading, AnObjectThatCannotBeMadeLeavesNothing) {
    MemoryHost host;
    host->load_module();
    IMGLUE *object = nullptr;
    int64_t nth = 1;
    for (; object == nullptr; ++nth) {
        host.faults.fail(Operation::allocation, nth);
        try {
            object = host->new_object();
        } catch (const ConversionError &error) {
            EXPECT_EQ(Failure::machine, error.failure());
            EXPECT_STREQ("There is not enough memory.", error.what());
            EXPECT_EQ("", host.left_over());
        }
    }
    EXPECT_GT(nth, 3);
    host->delete_object(object);
    EXPECT_EQ("", host.left_over());
}

TEST(ModuleLoading, AnUnknownEncodingOfTheFileIsSaid) {
    HostOptions options;
    options.file_encoding = "klingon";
    MemoryHost host(options);
    host->load_module();
    try {
        host->new_object();
        FAIL() << "was made";
    } catch (const ConversionError &error) {
        EXPECT_EQ(Failure::usage, error.failure());
        EXPECT_STREQ("The encoding klingon is not known.", error.what());
    }
    EXPECT_EQ("", host.left_over());
}

// Two hosts take turns with the one module of the program.
TEST(ModuleLoading, EachHostServesItsOwnObjects) {
    CapturedLog logs[2];
    std::unique_ptr<Host> hosts[2];
    IMGLUE *objects[2];
    for (size_t at = 0; at < 2; ++at) {
        HostOptions options;
        options.log = &logs[at];
        hosts[at] = std::make_unique<Host>(options);
        hosts[at]->load_module();
        objects[at] = hosts[at]->new_object();
    }
    for (const size_t at : {0U, 1U, 0U}) {
        hosts[at]->make_current();
        const std::string missing = "/nowhere/" + std::to_string(at);
        EXPECT_EQ(0, objects[at]->set_outmode(objects[at], OUTMODE_IMPORT));
        EXPECT_EQ(0, objects[at]->set_fname(objects[at], missing.data(), static_cast<int32_t>(missing.size())));
        EXPECT_NE(0, objects[at]->open(objects[at]));
        EXPECT_EQ("The file " + missing + ".dta cannot be opened.", hosts[at]->take_failure().text);
        EXPECT_EQ("", hosts[1 - at]->take_failure().text);
    }
    hosts[1]->delete_object(objects[1]);
    hosts[1].reset(); // the other one serves again
    EXPECT_EQ("caf\xE9", Host(HostOptions{.session_encoding = "latin1"}).encode("caf\xC3\xA9")) << "takes no turn";
    EXPECT_EQ(0, objects[0]->set_fname(objects[0], "/nowhere/2", 10));
    EXPECT_NE(0, objects[0]->open(objects[0]));
    EXPECT_EQ("The file /nowhere/2.dta cannot be opened.", hosts[0]->take_failure().text);
    hosts[0]->delete_object(objects[0]);
    EXPECT_EQ(0U, hosts[0]->blocks_in_use());
}

int unwilling(IMGLUE **) {
    return HOST_LOGGED;
}

TEST(ModuleLoading, AModuleOfTheProgramIsUsedInstead) {
    MemoryHost host;
    EXPECT_THROW(host->new_object(), ConversionError) << "no module yet";
    host->use_module(unwilling);
    EXPECT_THROW(host->new_object(), ConversionError);
    EXPECT_THROW(host->use_module(unwilling, [](GCB *, void *) -> const IMAGE_INFORMATION * { return nullptr; }),
                 ConversionError);
    static const IMAGE_INFORMATION stranger = {"Some other library", "", "", ""};
    EXPECT_THROW(host->use_module(unwilling, [](GCB *, void *) { return &stranger; }), ConversionError);
}

TEST(ModuleLoading, OnlyTheBaseClassIsAnImage) {
    MemoryHost host;
    const ServiceCalls calls(host->control_block());
    void *image = nullptr;
    CONSTRUCTOR_ENTRY entry = nullptr;
    EXPECT_NE(0, calls.wiloadv(&image, "VORIMDXX", 0x100, 1, 0, 1));
    EXPECT_EQ(nullptr, image);
    EXPECT_NE(0, calls.viidb2g(nullptr, &entry));
    EXPECT_EQ(0, calls.wiloadv(&image, "VORIMDFE", 0x100, 1, 0, 1));
    EXPECT_EQ(0, calls.viidb2g(image, &entry));
    ASSERT_NE(nullptr, entry);
    EXPECT_EQ(HOST_NO_OBJECT, entry(nullptr));
}

} // namespace
} // namespace vor::test
