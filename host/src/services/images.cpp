#include "services/images.h"

#include "services/message_catalog.h"

#include <vor/imglue.h>
#include <vorhost/error.h>

#include <array>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <fmt/format.h>
#include <string_view>

namespace vor::services {
namespace {

constexpr const char *MODULE_FILE = "vorimdta.so";
constexpr const char *CONNECTION_NAME = "mcn_main";
constexpr const char *CONSTRUCTOR_NAME = "vorimdta";
constexpr const char *MODULE_VARIABLE = "VORDTA_MODULE";
constexpr std::string_view IMAGE_MARKER = "VOR_Image_Information=";
constexpr std::string_view BASE_CLASS = "VORIMDFE";

ConversionError refusal(const std::string &sentence) {
    return ConversionError(Failure::machine, sentence);
}

std::string loader_error() {
    const char *text = dlerror();
    return text == nullptr ? "unknown" : text;
}

// Operations of the base class. The module's own replace most of them.

int32_t base_new(IMGLUE **object);

void base_delete(IMGLUE *) {}

int32_t complete(IMGLUE *) {
    return HOST_OK;
}

int32_t set_option(IMGLUE *, const char *, int32_t, const char *, int32_t) {
    return OPTION_NOT_KNOWN;
}

int32_t set_outmode(IMGLUE *self, int64_t outmode) {
    if (self == nullptr)
        return HOST_NO_OBJECT;
    self->outmode = outmode;
    return HOST_OK;
}

int32_t base_new(IMGLUE **object) {
    if (object == nullptr || *object == nullptr)
        return HOST_NO_OBJECT;
    constexpr CLASS_RECORD record{base_new, base_delete};
    IMGLUE &self = **object;
    self.new_ = base_new;
    self.delete_ = base_delete;
    self.complete = complete;
    self.set_option = set_option;
    self.set_outmode = set_outmode;
    self.VORIMD_C = record;
    self.VORIMDF_C = record;
    self.VORIMDFE_C = record;
    return HOST_OK;
}

} // namespace

int32_t BaseClassImage::wiloadv(void **image, const char *name, int32_t, int32_t, int32_t, int32_t) {
    static constexpr char base_class_image = 0; // only its address counts
    *image = nullptr;
    if (std::string_view(name, strnlen(name, BASE_CLASS.size())) != BASE_CLASS)
        return IMAGE_NOT_FOUND;
    *image = const_cast<char *>(&base_class_image);
    return 0;
}

int32_t BaseClassImage::viidb2g(void *image, CONSTRUCTOR_ENTRY *entry) {
    *entry = image == nullptr ? nullptr : base_new;
    return image == nullptr ? IMAGE_NOT_FOUND : 0;
}

namespace {

// Of the library that this is in, which was made with its module, and of the program, when that is another file.
std::vector<std::filesystem::path> own_folders() {
    std::vector<std::filesystem::path> folders;
    std::error_code error;
    Dl_info library;
    if (dladdr(reinterpret_cast<void *>(&BaseClassImage::viidb2g), &library) != 0 && library.dli_fname) {
        if (const auto file = std::filesystem::canonical(library.dli_fname, error); !error)
            folders.push_back(file.parent_path());
    }
    if (const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
        !error && (folders.empty() || program.parent_path() != folders[0]))
        folders.push_back(program.parent_path());
    return folders;
}

} // namespace

std::vector<std::string> module_places(const std::string &module_path) {
    if (!module_path.empty())
        return {module_path};
    if (const char *place = std::getenv(MODULE_VARIABLE); place != nullptr && *place != '\0')
        return {place};
    std::vector<std::string> places;
    for (const std::filesystem::path &folder : own_folders())
        for (const char *beside : {"", "vordta", "../lib", "../lib/vordta"})
            places.push_back((folder / beside / MODULE_FILE).lexically_normal().string());
    places.push_back((std::filesystem::path(VORDTA_MODULE_DIRECTORY) / MODULE_FILE).string());
    return places;
}

namespace {

// The first of the places where the module is. When it is at none, and nobody named one, the bare file name: programs
// outside the installed tree are linked with a run path to the module, which only the loader follows.
std::string find_module(const std::vector<std::string> &places) {
    std::error_code error;
    for (const std::string &place : places)
        if (std::filesystem::exists(place, error))
            return std::filesystem::absolute(place, error).string();
    const bool is_named = places.size() == 1;
    if (!is_named)
        if (void *image = dlopen(MODULE_FILE, RTLD_LAZY | RTLD_LOCAL)) {
            dlclose(image);
            return MODULE_FILE;
        }
    throw refusal(fmt::format("The module is not there; looked for {}.", fmt::join(places, ", ")));
}

} // namespace

void Module::CloseImage::operator()(void *image) const {
    dlclose(image);
}

void Module::load(const std::string &module_path) {
    const std::string path = find_module(module_places(module_path));
    std::unique_ptr<void, CloseImage> image(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL));
    if (!image)
        throw refusal(fmt::format("The module {} cannot be loaded: {}.", path, loader_error()));
    const auto entry = [&](const char *name) {
        void *address = dlsym(image.get(), name);
        if (address == nullptr)
            throw refusal(fmt::format("The module {} has no entry {}.", path, name));
        return address;
    };
    connection_ = reinterpret_cast<CONNECTION_ENTRY>(entry(CONNECTION_NAME));
    constructor_ = reinterpret_cast<CONSTRUCTOR_ENTRY>(entry(CONSTRUCTOR_NAME));
    image_ = std::move(image);
}

void Module::use(CONNECTION_ENTRY connection, CONSTRUCTOR_ENTRY entry) {
    image_.reset();
    connection_ = connection;
    constructor_ = entry;
}

void Module::connect(GCB *control_block) const {
    if (connection_ == nullptr)
        return;
    const IMAGE_INFORMATION *information = connection_(control_block, nullptr);
    if (information == nullptr ||
        std::string_view(information->marker, strnlen(information->marker, sizeof information->marker)) != IMAGE_MARKER)
        throw refusal("The module does not say what it is: its image information is missing.");
}

} // namespace vor::services
