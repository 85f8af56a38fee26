// Finding, loading and connecting the module; its objects, and the base class that the host gives them.

#include "collected_import.h"
#include "service_calls.h"
#include "tables_in_memory.h"

#include <vor/imglue.h>

#include <cstdlib>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <string>

namespace vor::test {
namespace {

TEST(ModuleLoading, FilesThatAreNoModuleAreRefusedInOneSentence) {
    const auto refusal_of = [](const std::string &path) {
        MemoryHost host(HostOptions{.module_path = path});
        return sentence_of([&] { host->load_module(); });
    };
    const ScratchDirectory scratch;
    const std::string missing = scratch.path("missing.so");
    EXPECT_EQ("m: The module is not there; looked for " + missing + ".", refusal_of(missing));
    const std::string text_file = scratch.write("text.so", "no library");
    EXPECT_TRUE(refusal_of(text_file).starts_with("m: The module " + text_file + " cannot be loaded: "));
    Dl_info library{};
    ASSERT_NE(0, dladdr(dlsym(RTLD_DEFAULT, "getpid"), &library)); // some library without the entries
    const std::string other = std::filesystem::canonical(library.dli_fname).string();
    EXPECT_EQ("m: The module " + other + " has no entry mcn_main.", refusal_of(other));
}

// Whatever allocation fails, the refusal says so and nothing is left.
TEST(ModuleLoading, AnObjectThatCannotBeMadeLeavesNothing) {
    MemoryHost host;
    host->load_module();
    IMGLUE *object = nullptr;
    int64_t nth = 1;
    for (; object == nullptr; ++nth) {
        host.faults.fail(Operation::allocation, nth);
        const std::string sentence = sentence_of([&] { object = host->new_object(); });
        if (object == nullptr) {
            EXPECT_EQ("m: There is not enough memory.", sentence);
            EXPECT_EQ("", host.left_over());
        }
    }
    EXPECT_GT(nth, 3);
    host->delete_object(object);
    EXPECT_EQ("", host.left_over());

    setenv("DBE_NAME", "vulcan", 1); // an option goes before the environment
    for (const auto &[option, unknown] : {std::pair{"klingon", "klingon"}, {"", "vulcan"}}) {
        MemoryHost other(HostOptions{.file_encoding = option});
        other->load_module();
        EXPECT_EQ("u: The encoding " + std::string(unknown) + " is not known.",
                  sentence_of([&] { other->new_object(); }));
        EXPECT_EQ("", other.left_over());
    }
    unsetenv("DBE_NAME");
}

void expect_failing_open(Host &host, IMGLUE *object, const std::string &path) {
    EXPECT_EQ(0, object->set_outmode(object, OUTMODE_IMPORT));
    EXPECT_EQ(0, object->set_fname(object, path.data(), static_cast<int32_t>(path.size())));
    EXPECT_NE(0, object->open(object));
    EXPECT_EQ("The file " + path + ".dta cannot be opened.", host.take_failure().text);
}

// Two hosts take turns with the one module of the program.
TEST(ModuleLoading, EachHostServesItsOwnObjects) {
    std::unique_ptr<Host> hosts[2];
    IMGLUE *objects[2];
    for (size_t at = 0; at < 2; ++at) {
        hosts[at] = std::make_unique<Host>(HostOptions{});
        hosts[at]->load_module();
        objects[at] = hosts[at]->new_object();
    }
    for (const size_t at : {0U, 1U, 0U}) {
        hosts[at]->make_current();
        expect_failing_open(*hosts[at], objects[at], "/nowhere/" + std::to_string(at));
        EXPECT_EQ("", hosts[1 - at]->take_failure().text);
    }
    hosts[1]->delete_object(objects[1]);
    hosts[1].reset(); // the other one serves again
    EXPECT_EQ("caf\xE9", Host(HostOptions{.session_encoding = "latin1"}).encode("caf\xC3\xA9")) << "takes no turn";
    expect_failing_open(*hosts[0], objects[0], "/nowhere/2");
    hosts[0]->delete_object(objects[0]);
    EXPECT_EQ(0U, hosts[0]->blocks_in_use());
}

TEST(ModuleLoading, AModuleOfTheProgramIsUsedInstead) {
    static const IMAGE_INFORMATION stranger = {"Some other library", "", "", ""};
    const auto unwilling = [](IMGLUE **) -> int32_t { return HOST_LOGGED; };
    MemoryHost host;
    EXPECT_THROW(host->new_object(), ConversionError) << "no module yet";
    host->use_module(unwilling);
    EXPECT_THROW(host->new_object(), ConversionError);
    EXPECT_THROW(host->use_module(unwilling, [](GCB *, void *) -> const IMAGE_INFORMATION * { return nullptr; }),
                 ConversionError);
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
