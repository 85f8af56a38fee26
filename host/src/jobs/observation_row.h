// The host observation as a row: numbers where the module put them, texts decoded from the session encoding.
#pragma once

#include <vor/namestr.h>
#include <vorhost/host.h>
#include <vorhost/rows.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace vor {

class ObservationRow final : public Row {
  public:
    // Called once for each column whose text is not valid in the session encoding, with its first observation.
    using BadTextNote = std::function<void(size_t column, int64_t observation)>;

    // A column for each of the variables. passed_over: observations before the first one.
    ObservationRow(const Host &host, const std::vector<const NAMESTR *> &variables, int64_t passed_over,
                   BadTextNote note);

    // The next observation; `bytes` stays in place until the one after.
    void set(const void *bytes);

    std::string_view text(size_t column) const override;

    // Texts of a column that were not valid in the session encoding.
    int64_t bad_texts(size_t column) const { return columns_[column].bad_texts; }
    size_t columns() const { return columns_.size(); }

  private:
    struct Column {
        int64_t length_position; // of the length of varying-length text, -1 for fixed-length text
        int32_t length;          // of fixed-length text
        mutable int64_t bad_texts = 0;
        mutable int64_t last_bad = 0; // the observation counted last
        mutable std::string decoded;
    };
    std::string_view bytes(const Column &column, int64_t position) const;
    std::string_view decoded(size_t column, std::string_view stored) const;

    const Host &host_;
    BadTextNote note_;
    std::vector<int64_t> positions_; // of the values; of the pointers to them for varying-length text
    std::vector<Column> columns_;
    int64_t number_; // of the current observation in the file, from 1
};

} // namespace vor
