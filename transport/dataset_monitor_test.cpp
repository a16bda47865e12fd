#include "transport/dataset_monitor.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace quillorn::transport {
namespace {

using platform::Variant;

// A table in memory with the cursor and event order of a real one: Edit fires
// BeforeEdit, Post fires AfterPost, Delete fires BeforeDelete and AfterDelete.
class MemoryTable final : public IRpcMonitoredTable {
 public:
  explicit MemoryTable(std::vector<TRpcTableField> fields) : fields_(std::move(fields)) {}

  std::size_t FieldCount() const override { return fields_.size(); }
  TRpcTableField FieldInfo(std::size_t index) const override { return fields_.at(index); }
  std::ptrdiff_t FindField(std::string_view name) const override {
    for (std::size_t i = 0; i < fields_.size(); ++i) {
      if (fields_[i].Name == name) return static_cast<std::ptrdiff_t>(i);
    }
    return -1;
  }
  std::int64_t RecordCount() const override { return static_cast<std::int64_t>(rows_.size()); }
  bool IsNull(std::size_t field) const override { return Current().at(field).IsNull(); }
  std::string AsText(std::size_t field) const override { return Current().at(field).AsString(); }
  std::string AsBlob(std::size_t field) const override { return Current().at(field).AsString(); }
  std::int64_t AsCurrency(std::size_t field) const override {
    return static_cast<std::int64_t>(Current().at(field).AsDouble() * kCurrencyScale);
  }
  foundation::TDateTime AsDateTime(std::size_t field) const override { return Current().at(field).AsDateTime(); }
  Variant AsVariant(std::size_t field) const override { return Current().at(field); }
  TRpcTableEvents& Events() override { return events_; }

  void Insert(std::vector<Variant> values) {
    Fire(events_.BeforeInsert);
    buffer_ = std::move(values);
    inserting_ = true;
  }
  void Edit(std::size_t row, std::size_t field, Variant value) {
    current_ = row;
    Fire(events_.BeforeEdit);
    buffer_ = rows_.at(row);
    buffer_->at(field) = std::move(value);
  }
  void Post() {
    if (inserting_) {
      rows_.push_back(*buffer_);
      current_ = rows_.size() - 1;
    } else {
      rows_.at(current_) = *buffer_;
    }
    buffer_.reset();
    inserting_ = false;
    Fire(events_.AfterPost);
  }
  void Cancel() {
    buffer_.reset();
    inserting_ = false;
    Fire(events_.AfterCancel);
  }
  void Delete(std::size_t row) {
    current_ = row;
    Fire(events_.BeforeDelete);
    rows_.erase(rows_.begin() + static_cast<std::ptrdiff_t>(row));
    current_ = rows_.empty() ? 0 : std::min(row, rows_.size() - 1);
    Fire(events_.AfterDelete);
  }

 private:
  static void Fire(const std::function<void()>& handler) {
    if (handler) handler();
  }
  const std::vector<Variant>& Current() const { return buffer_ && inserting_ ? *buffer_ : rows_.at(current_); }

  std::vector<TRpcTableField> fields_;
  std::vector<std::vector<Variant>> rows_;
  std::optional<std::vector<Variant>> buffer_;
  bool inserting_ = false;
  std::size_t current_ = 0;
  TRpcTableEvents events_;
};

std::vector<TRpcTableField> DocFields() {
  return {
      {"DOC_ID", TRpcFieldTypes::ft_Integer, 0, true, false, false},
      {"NAME", TRpcFieldTypes::ft_String, 40, false, false, false},
      {"SHOWN", TRpcFieldTypes::ft_String, 10, false, true, false},  // calculated: never recorded
      {"BODY", TRpcFieldTypes::ft_Memo, 0, false, false, true},
  };
}

constexpr const char* kDefs = "DS=3;DOC_ID:I,0,T;NAME:S,40,F;BODY:M,0,F;";

std::string Extract(TRpcDataSetMonitor& monitor) { return monitor.ExtractChanges().toCode(); }

TEST(DataSetMonitor, ChangeRecordOfEachKindOfChange) {
  struct Case {
    const char* what;
    std::function<void(MemoryTable&)> act;
    std::string record;  // "X=;" when nothing waits
  };
  const std::vector<Case> cases = {
      {"insert", [](MemoryTable& t) { t.Insert({3, "new", Variant::Null(), Variant::Null()}); t.Post(); },
       std::string("AR=2;AR=1;I=1;") + kDefs + "ROWS=1;RE=2;DOC_ID:I=3;NAME:T=3\"new\";"},
      {"update keeps before and after",
       [](MemoryTable& t) { t.Edit(0, 1, "b"); t.Post(); },
       std::string("AR=2;AR=1;I=2;") + kDefs +
           "ROWS=2;RE=3;DOC_ID:I=1;NAME:T=1\"a\";BODY:BS=2\"b1\";RE=3;DOC_ID:I=1;NAME:T=1\"b\";BODY:BS=2\"b1\";"},
      {"edit saved unchanged leaves nothing", [](MemoryTable& t) { t.Edit(0, 1, "a"); t.Post(); }, "X=;"},
      {"delete keeps the row as it was",
       [](MemoryTable& t) { t.Delete(1); },
       std::string("AR=2;AR=1;I=3;") + kDefs + "ROWS=1;RE=1;DOC_ID:I=2;"},
      {"cancelled edit", [](MemoryTable& t) { t.Edit(0, 1, "zz"); t.Cancel(); }, "X=;"},
      {"cancelled insert", [](MemoryTable& t) { t.Insert({9, "x", "", ""}); t.Cancel(); }, "X=;"},
      {"several in order",
       [](MemoryTable& t) {
         t.Insert({5, Variant::Null(), Variant::Null(), "z"});
         t.Post();
         t.Edit(0, 1, "c");
         t.Post();
         t.Delete(1);
       },
       std::string("AR=2;AR=3;I=1;I=2;I=3;") + kDefs +
           "ROWS=4;RE=2;DOC_ID:I=5;BODY:BS=1\"z\";RE=3;DOC_ID:I=1;NAME:T=1\"a\";BODY:BS=2\"b1\";"
           "RE=3;DOC_ID:I=1;NAME:T=1\"c\";BODY:BS=2\"b1\";RE=1;DOC_ID:I=2;"},
  };
  for (const auto& c : cases) {
    MemoryTable table(DocFields());
    table.Insert({1, "a", "calc", "b1"});
    table.Post();
    table.Insert({2, Variant::Null(), Variant::Null(), Variant::Null()});
    table.Post();
    TRpcDataSetMonitor monitor;
    monitor.SetDataSet(&table);
    monitor.SetActive(true);
    c.act(table);
    EXPECT_EQ(monitor.Changed(), c.record != "X=;") << c.what;
    EXPECT_EQ(Extract(monitor), c.record) << c.what;
    EXPECT_FALSE(monitor.Changed()) << c.what;
    EXPECT_EQ(Extract(monitor), "X=;") << c.what << ": extracting twice";
  }
}

TEST(DataSetMonitor, PendingRowStaysForTheChangeUnderWay) {
  MemoryTable table(DocFields());
  TRpcDataSetMonitor monitor;
  monitor.SetDataSet(&table);
  monitor.SetActive(true);
  table.Insert({1, "a", Variant::Null(), Variant::Null()});
  table.Post();
  table.Edit(0, 1, "b");  // under way while the changes are taken
  EXPECT_EQ(Extract(monitor), std::string("AR=2;AR=1;I=1;") + kDefs + "ROWS=1;RE=2;DOC_ID:I=1;NAME:T=1\"a\";");
  // Only a pending row, no action: nothing to hand out.
  EXPECT_EQ(Extract(monitor), "X=;");
  table.Post();
  EXPECT_EQ(Extract(monitor), std::string("AR=2;AR=1;I=2;") + kDefs +
                                  "ROWS=2;RE=2;DOC_ID:I=1;NAME:T=1\"a\";RE=2;DOC_ID:I=1;NAME:T=1\"b\";");
}

TEST(DataSetMonitor, KeepsAndRestoresTheTablesOwnHandlers) {
  MemoryTable table(DocFields());
  std::vector<std::string> calls;
  table.Events().AfterPost = [&] { calls.push_back("own AfterPost"); };
  {
    TRpcDataSetMonitor monitor;
    monitor.SetDataSet(&table);
    monitor.SetActive(true);
    table.Insert({1, "a", Variant::Null(), Variant::Null()});
    table.Post();
    EXPECT_EQ(calls.size(), 1u);
    EXPECT_TRUE(monitor.Changed());
    monitor.SetActive(false);
    EXPECT_FALSE(monitor.Changed());
    EXPECT_FALSE(table.Events().BeforeEdit);
    table.Insert({2, "b", Variant::Null(), Variant::Null()});
    table.Post();
    EXPECT_EQ(Extract(monitor), "X=;");
  }
  EXPECT_EQ(calls.size(), 2u);
}

TEST(DataSetMonitor, Failures) {
  try {
    TRpcDataSetRecorder recorder(nullptr);
    ADD_FAILURE();
  } catch (const ERpcDB& e) {
    EXPECT_STREQ(e.what(), "Can not create TRpcDataSetRecorder without a DataSet");
  }
  MemoryTable table(DocFields());
  table.Insert({1, "a", Variant::Null(), Variant::Null()});
  table.Post();
  table.Insert({2, "b", Variant::Null(), Variant::Null()});
  table.Post();
  TRpcDataSetRecorder recorder(&table);
  recorder.BeforeChange();  // remembers two records
  recorder.CancelChange();
  table.Delete(0);  // no monitor attached: the recorder only sees what follows
  try {
    recorder.AfterChange();
    ADD_FAILURE();
  } catch (const ERpcDB& e) {
    EXPECT_STREQ(e.what(), "Row deleted without calling BeforeChange");
  }
}

}  // namespace
}  // namespace quillorn::transport
