// What a host that asks for nothing gets of a Stata file, and what an export of that writes, pinned as digests: neither
// may change unnoticed. When one differs, the rows that are now right are printed; they belong here once the change is
// understood.
#include "collected_import.h"
#include "corpus.h"
#include "whole_file.h"

#include <vor/imglue.h>

#include <algorithm>
#include <cinttypes>
#include <cstring>
#include <gtest/gtest.h>
#include <span>

namespace vor::test {
namespace {

// FNV-1a of 64 bits.
class Digest {
  public:
    void add(std::string_view bytes) {
        for (const char byte : bytes)
            value_ = (value_ ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
    }
    void add(int64_t number) { add({reinterpret_cast<const char *>(&number), sizeof number}); }
    uint64_t value() const { return value_; }

  private:
    uint64_t value_ = 0xCBF29CE484222325;
};

uint64_t digest_of(const std::string &bytes) {
    Digest digest;
    digest.add(bytes);
    return digest.value();
}

// Everything of a variable's record but where it lies in memory.
void add_variable(Digest &digest, const NAMELIST &node) {
    NAMESTR copy = node.namestr;
    digest.add({copy.name_p, static_cast<size_t>(copy.namelen)});
    digest.add({copy.label_p, static_cast<size_t>(copy.nlablen)});
    digest.add({copy.nformlong, 8});
    digest.add({copy.niformlong, 8});
    copy.name_p = copy.label_p = copy.nformlong = copy.niformlong = nullptr;
    EXPECT_TRUE(copy.nengptr == nullptr && copy.nzkfmthandl == nullptr && copy.nzkinfmthandl == nullptr);
    digest.add({reinterpret_cast<const char *>(&copy), sizeof copy});
    digest.add(node.index);
}

// An observation's bytes; the addresses of varying texts count from its start.
std::string observation_bytes(const IMGLUE &object, const NAMELIST *list) {
    std::string bytes(static_cast<const char *>(object.obsptr), static_cast<size_t>(object.obslen));
    for (; list != nullptr; list = list->next) {
        if (list->namestr.ntype != NAMESTR_VARYING_CHARACTER)
            continue;
        char *place = bytes.data() + list->namestr.npos;
        const char *text = nullptr;
        std::memcpy(&text, place, sizeof text);
        const int64_t offset = text - static_cast<const char *>(object.obsptr);
        std::memcpy(place, &offset, sizeof offset);
    }
    return bytes;
}

// An object of the module with its name, statements and open file.
struct OpenObject {
    OpenObject(MemoryHost &of, int64_t mode, const char *path) : host(of), object(of->new_object()) {
        EXPECT_EQ(object->set_outmode(object, mode), HOST_OK);
        EXPECT_EQ(object->set_fname(object, path, -1), HOST_OK);
        EXPECT_EQ((mode & OUTMODE_IMPORT ? object->parseimproc : object->parseexproc)(object, nullptr), HOST_OK);
        EXPECT_EQ(object->open(object), HOST_OK) << host->take_failure().text;
    }
    void close() { EXPECT_EQ(object->close(object), HOST_OK) << host->take_failure().text; }
    ~OpenObject() { host->delete_object(object); }

    MemoryHost &host;
    IMGLUE *object;
    int32_t count = 0;
    NAMELIST *list = nullptr;
    void *observation = nullptr;
};

struct Digests {
    uint64_t file, imported, exported;
    bool operator==(const Digests &) const = default;
};

// By release, for either byte order.
const Digests built_files[] = {
    {103, 0x61EFDC0C9A445473, 0x82F7CC01FA761835}, {104, 0x61EFDC0C9A445473, 0x82F7CC01FA761835},
    {105, 0x773A08FC30D5C850, 0x3D496693F5CEEA61}, {108, 0x773A08FC30D5C850, 0x3D496693F5CEEA61},
    {110, 0x773A08FC30D5C850, 0x3D496693F5CEEA61}, {111, 0x773A08FC30D5C850, 0x3D496693F5CEEA61},
    {112, 0x773A08FC30D5C850, 0x3D496693F5CEEA61}, {113, 0xFD490C0298B18C60, 0xD998F040B43814E5},
    {114, 0xFD490C0298B18C60, 0xD998F040B43814E5}, {115, 0xFD490C0298B18C60, 0xD998F040B43814E5},
    {117, 0x73167427886CE8AA, 0x5961BB7D37866498}, {118, 0x73167427886CE8AA, 0x5961BB7D37866498},
    {119, 0x73167427886CE8AA, 0x5961BB7D37866498},
};

// Files of other programs, by the digest of their bytes.
const Digests foreign_files[] = {
    {0x2F14790E6D0D0B3F, 0x08C673C688BC603D, 0x5DCF477B29DA3FC7},
    {0xE1113178DABB9340, 0x5DA585DFEDBD4923, 0xA7CCAB65786725CA},
    {0xA245180585A5C7EB, 0x10DF08D18CD1CA0E, 0xB50077E8FEDDD2F3},
    {0x7B43C4705F9780D4, 0x2E040CBE122E24DD, 0xDA27503BF173C546},
    {0x54C38AAE1A74AA03, 0x8CDD242668D9A47E, 0x912E55A38CDC8783},
    {0xF4C33EE4BB74DA10, 0x71A1D7B5979B3F69, 0x9BC7F20A29334AFB},
    {0x9D50A9CD1C5D4A6B, 0x16B7CFA5B5AE8CFA, 0xB114D3993F992291},
    {0x5C374D2A52D4ABC5, 0x16B7CFA5B5AE8CFA, 0xB114D3993F992291},
    {0x1431BFE54DE790FC, 0xCFA59A4E51AB6794, 0xEA18B64A447ED5AD},
    {0xB81D9731B82316DE, 0xCFA59A4E51AB6794, 0x95FB0C203C06C54B},
    {0x9D81A2455C5789D1, 0x14DFAD775D2576D8, 0x353E346A84821F0A},
    {0x41992E360ACEABF8, 0x15615226D16469EA, 0x85BC989A13B6D942},
    {0x492CC2F0DD31E7BD, 0xA0485402499EC3D5, 0xE1723D104D555B94},
    {0x22D3A511041BDD42, 0x4C936B942D85EBD5, 0x8A16525CF8D9CA77},
    {0xE6C4EE89B87155E3, 0xC3538B705B888687, 0x2DB75DADDA01FD93},
    {0xAE6D71A18D0C3B95, 0xFCFBC3CE06E39C96, 0x33D2ED4F6CDF4E30},
    {0x68086E887F1673D5, 0x068A115EE0CC8A27, 0x5BE828A513D0A9A4},
    {0xCCC470EF145AFAEB, 0x068A115EE0CC8A27, 0x5BE828A513D0A9A4},
    {0x740C88FB5A385944, 0xFCFBC3CE06E39C96, 0x33D2ED4F6CDF4E30},
    {0xF27E720AD52CAE50, 0x99B7EB9682AF4246, 0x7E03700D5A1640F0},
    {0xCA8F3FF45FD61C7D, 0xFEDAC1829C1FAC72, 0xC89C35393AAF0783},
    {0x08336A88F949360B, 0xB87021A9474888D6, 0xB520D97D423B92B3},
    {0xA0158E3C1DF5FB7F, 0x544007A05D465E8C, 0x2F281985C2FFC309},
    {0x0F92115A4767975A, 0xD8CF11C4EF372407, 0xA0B2945CE6593C7A},
    {0x0D35AE78F0124483, 0xA0E69C5ACD2C0D43, 0x8460CDAF982D03E0},
    {0x09D017D6D29A8C76, 0x4D395D8C953E234C, 0x4BB55AF8E8534E49},
    {0xDE6749B1991979FB, 0x99D5CB6E8B187B3F, 0x89CCBEE35B61EE03},
    {0xAB08C5A7FDB04CA9, 0x28069AE8DF402249, 0xE67FC77B77DF8135},
    {0x8F034EDB96A8FD68, 0xB709D2D6D7E4E9FA, 0x492F12561ACB6BAB},
    {0x0ED39E6562CCE21C, 0xB709D2D6D7E4E9FA, 0x492F12561ACB6BAB},
    {0x1BA70B5C1F4FF47B, 0xD37E37C1B3E88218, 0x5ADE284027EF8793},
    {0x152948DF4D0D345D, 0xD37E37C1B3E88218, 0x5ADE284027EF8793},
};

Digests digests_of(uint64_t file, const std::string &bytes) {
    CatalogMap catalogs;
    MemoryHost host(HostOptions{.catalogs = &catalogs});
    host->load_module();
    host.files.put("in.dta", bytes);
    Digest imported;
    {
        OpenObject import(host, OUTMODE_IMPORT | OUTMODE_WRITE_LABELS, "in.dta");
        IMGLUE *object = import.object;
        EXPECT_EQ(object->getvars(object, &import.count, &import.list), HOST_OK) << host->take_failure().text;
        for (const NAMELIST *node = import.list; node != nullptr; node = node->next)
            add_variable(imported, *node);
        while (object->getnextrow(object, &import.observation) == HOST_OK)
            imported.add(observation_bytes(*object, import.list));
        import.close();
    }
    for (const auto &[name, format] : catalogs.formats) {
        imported.add(name + std::to_string(format.default_width) + ranges_text(format));
        EXPECT_EQ(format.name, name);
    }
    imported.add(host.log.text());

    // Once more with texts of fixed length, which are what an export takes.
    OpenObject import(host, OUTMODE_IMPORT, "in.dta");
    import.object->from_engine = 1;
    EXPECT_EQ(import.object->getvars(import.object, &import.count, &import.list), HOST_OK);
    if (import.count > 0) {
        OpenObject target(host, 0, "out.dta");
        EXPECT_EQ(target.object->putvars(target.object, import.count, import.list), HOST_OK);
        while (import.object->getnextrow(import.object, &import.observation) == HOST_OK)
            EXPECT_EQ(target.object->putnextrow(target.object, import.observation, import.list), HOST_OK);
        target.close();
    }
    import.close();
    return {file, imported.value(), digest_of(import.count > 0 ? host.files.get("out.dta") : "")};
}

// Every file found must have its row, with the same digests.
void expect_rows(std::span<const Digests> pinned, const std::vector<Digests> &found) {
    std::string table;
    bool same = true;
    for (const Digests &row : found) {
        char line[80];
        std::snprintf(line, sizeof line, "{0x%" PRIX64 ", 0x%016" PRIX64 ", 0x%016" PRIX64 "},\n", row.file,
                      row.imported, row.exported);
        table += line;
        same = same && std::ranges::find(pinned, row) != pinned.end();
    }
    EXPECT_TRUE(same) << "What is delivered or written has changed. The rows are now\n" << table;
}

TEST(BaseContract, EveryReleaseInEitherByteOrder) {
    std::vector<Digests> found;
    for_each_whole_file(20, [&](const StataFile &file) {
        found.push_back(digests_of(static_cast<uint64_t>(file.release), build(file)));
    });
    EXPECT_EQ(found.size(), 2 * std::size(built_files));
    expect_rows(built_files, found);
}

TEST(BaseContract, FilesOfOtherPrograms) {
    std::vector<Digests> found;
    for (const auto &path : corpus_files()) {
        const std::string bytes = file_bytes(path.string());
        const uint64_t file = digest_of(bytes);
        if (std::ranges::find(foreign_files, file, &Digests::file) != std::end(foreign_files))
            found.push_back(digests_of(file, bytes));
    }
    if (found.empty())
        GTEST_SKIP() << "VORDTA_CORPUS names no folder with files of the table";
    expect_rows(foreign_files, found);
}

} // namespace
} // namespace vor::test
