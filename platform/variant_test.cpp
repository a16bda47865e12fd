#include "platform/variant.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/automation.h"

namespace quillorn::platform {
namespace {

TEST(VariantTest, ConvertsToStringAsTheHostDoes) {
  struct Case {
    Variant value;
    std::string text;
  };
  const std::vector<Case> cases = {
      {Variant(), ""},
      {Variant::Null(), ""},
      {Variant(true), "True"},
      {Variant(false), "False"},
      {Variant(std::int32_t{-42}), "-42"},
      {Variant(std::int64_t{9007199254740993}), "9007199254740993"},
      {Variant(0.1), "0.1"},
      {Variant(-2.0), "-2"},
      {Variant(1e20), "1E20"},
      {Variant(123456789012.25), "123456789012.25"},
      {Variant("plain"), "plain"},
      {Variant::FromDateTime(45000.0), "2023-03-15"},
      {Variant::FromDateTime(2.5), "1900-01-01 12:00:00"},
      {Variant::FromDateTime(-1.0), "1899-12-29"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.value.AsString(), c.text) << KindName(c.value.kind());
  }
}

TEST(VariantTest, ConvertsToNumbersAndBooleans) {
  struct Case {
    Variant value;
    std::int32_t as_int;
    double as_double;
    bool as_bool;
  };
  const std::vector<Case> cases = {
      {Variant(), 0, 0, false},
      {Variant(true), -1, -1, true},
      {Variant(std::int32_t{7}), 7, 7, true},
      {Variant(std::int64_t{-3}), -3, -3, true},
      {Variant(2.5), 2, 2.5, true},    // half to even
      {Variant(3.5), 4, 3.5, true},    // half to even
      {Variant("12"), 12, 12, true},
      {Variant(" 12 "), 12, 12, true},
      {Variant("-0.5"), 0, -0.5, true},
      {Variant("1e3"), 1000, 1000, true},
      {Variant("0"), 0, 0, false},
      {Variant("True"), -1, -1, true},
      {Variant("false"), 0, 0, false},
      {Variant::FromDateTime(3.25), 3, 3.25, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.value.AsString() + " of kind " + std::string(KindName(c.value.kind())));
    EXPECT_EQ(c.value.AsInt(), c.as_int);
    EXPECT_EQ(c.value.AsInt64(), c.as_int);
    EXPECT_DOUBLE_EQ(c.value.AsDouble(), c.as_double);
    EXPECT_EQ(c.value.AsBool(), c.as_bool);
  }
}

TEST(VariantTest, RefusesWhatCannotBeConverted) {
  const auto as_int = [](const Variant& v) { (void)v.AsInt(); };
  const auto as_int64 = [](const Variant& v) { (void)v.AsInt64(); };
  const auto as_double = [](const Variant& v) { (void)v.AsDouble(); };
  const auto as_bool = [](const Variant& v) { (void)v.AsBool(); };
  const auto as_object = [](const Variant& v) { (void)v.AsObject(); };
  struct Case {
    Variant value;
    std::function<void(const Variant&)> convert;
    const char* message;
  };
  const std::string refused = "Could not convert variant of type ";
  const std::vector<Case> cases = {
      {.value = Variant::Null(), .convert = as_int, .message = "(Null) into type (Integer)"},
      {.value = Variant::Null(), .convert = as_bool, .message = "(Null) into type (Boolean)"},
      {.value = Variant("abc"), .convert = as_int64, .message = "(String) into type (Int64)"},
      {.value = Variant(""), .convert = as_int, .message = "(String) into type (Integer)"},
      {.value = Variant("1,5"), .convert = as_double, .message = "(String) into type (Double)"},
      {.value = Variant("+-5"), .convert = as_int, .message = "(String) into type (Integer)"},
      {.value = Variant("inf"), .convert = as_double, .message = "(String) into type (Double)"},
      {.value = Variant("yes"), .convert = as_bool, .message = "(String) into type (Boolean)"},
      {.value = Variant("soon"), .convert = [](const Variant& v) { (void)v.AsDateTime(); },
       .message = "(String) into type (Date)"},
      {.value = Variant(std::int32_t{1}), .convert = [](const Variant& v) { (void)v.AsArray(); },
       .message = "(Integer) into type (Array)"},
      {.value = Variant(std::int64_t{1} << 40), .convert = as_int, .message = "Arithmetic overflow occurred"},
      {.value = Variant(3e9), .convert = as_int, .message = "Arithmetic overflow occurred"},
      {.value = Variant("99999999999999999999"), .convert = as_int64, .message = "Arithmetic overflow occurred"},
      {.value = Variant("x"), .convert = as_object, .message = "Variant does not reference an automation object"},
      {.value = Variant(ObjectRef{}), .convert = as_object,
       .message = "Variant does not reference an automation object"},
  };
  for (const auto& c : cases) {
    const std::string expected = c.message[0] == '(' ? refused + c.message : c.message;
    try {
      c.convert(c.value);
      ADD_FAILURE() << "no HostError for " << expected;
    } catch (const HostError& e) {
      EXPECT_EQ(e.what(), expected);
    }
  }
}

TEST(VariantTest, DateTimeTextRoundTrips) {
  for (double days : {0.0, 1.0, 36526.0, 45000.75, 45000.0 + 1.0 / 86400.0, 2958465.0}) {
    Variant v = Variant::FromDateTime(days);
    Variant back(v.AsString());
    EXPECT_NEAR(back.AsDateTime(), days, 1e-9) << v.AsString();
  }
  EXPECT_DOUBLE_EQ(Variant("2000-01-01T06:00").AsDateTime(), 36526.25);
  EXPECT_DOUBLE_EQ(Variant(std::int32_t{36526}).AsDateTime(), 36526.0);
}

TEST(VariantTest, EqualityComparesNumbersByValueAndKeepsKindsApart) {
  struct Case {
    Variant a;
    Variant b;
    bool equal;
  };
  const std::vector<Case> cases = {
      {Variant(), Variant(), true},
      {Variant::Null(), Variant::Null(), true},
      {Variant(), Variant::Null(), false},
      {Variant(std::int32_t{5}), Variant(std::int64_t{5}), true},
      {Variant(std::int32_t{5}), Variant(5.0), true},
      {Variant(true), Variant(std::int32_t{-1}), true},
      {Variant(true), Variant(std::int32_t{1}), false},
      {Variant("5"), Variant(std::int32_t{5}), false},
      {Variant("a"), Variant("A"), false},
      {Variant(VariantList{Variant("x"), Variant(std::int32_t{1})}),
       Variant(VariantList{Variant("x"), Variant(1.0)}), true},
      {Variant(VariantList{Variant("x")}), Variant(VariantList{Variant("y")}), false},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.a == c.b, c.equal) << c.a.AsString() << " vs " << c.b.AsString();
    EXPECT_EQ(c.b == c.a, c.equal) << "symmetry";
  }
}

// Records what reached it, so that forwarding can be checked argument by argument.
class RecordingObject : public AutomationObject {
 public:
  Variant GetProperty(std::string_view name, std::span<const Variant> args) override {
    last = "get " + std::string(name);
    last_args.assign(args.begin(), args.end());
    return Variant("got");
  }
  void PutProperty(std::string_view name, std::span<const Variant> args, const Variant& value) override {
    last = "put " + std::string(name) + "=" + value.AsString();
    last_args.assign(args.begin(), args.end());
  }
  Variant CallMethod(std::string_view name, std::span<const Variant> args) override {
    if (name == "Fail") throw HostError("refused", 5);
    last = "call " + std::string(name);
    last_args.assign(args.begin(), args.end());
    return Variant(std::int32_t{static_cast<std::int32_t>(args.size())});
  }
  std::string last;
  VariantList last_args;
};

TEST(VariantTest, LateBoundAccessForwardsToTheObject) {
  auto rec = std::make_shared<RecordingObject>();
  Variant v{ObjectRef(rec)};
  EXPECT_EQ(v.Get("Item", {Variant("cmsID")}).AsString(), "got");
  EXPECT_EQ(rec->last, "get Item");
  ASSERT_EQ(rec->last_args.size(), 1u);
  EXPECT_EQ(rec->last_args[0], Variant("cmsID"));

  v.Put("Value", Variant(std::int32_t{3}), {Variant(std::int32_t{1}), Variant(std::int32_t{2})});
  EXPECT_EQ(rec->last, "put Value=3");
  EXPECT_EQ(rec->last_args.size(), 2u);

  EXPECT_EQ(v.Call("Save").AsInt(), 0);
  EXPECT_EQ(rec->last, "call Save");
  const VariantList dynamic = {Variant("a"), Variant(), Variant(true)};
  EXPECT_EQ(v.CallWith("SaveAs", dynamic).AsInt(), 3);
  EXPECT_EQ(rec->last_args[1].kind(), Variant::Kind::Empty);
  EXPECT_EQ(v.GetWith("Name", {}).AsString(), "got");

  try {
    v.Call("Fail");
    ADD_FAILURE() << "host error not passed on";
  } catch (const HostError& e) {
    EXPECT_EQ(e.code(), 5);
  }
  EXPECT_TRUE(v.HasObject());
  for (const Variant& not_object : {Variant(), Variant::Null(), Variant("doc"), Variant(ObjectRef{})}) {
    EXPECT_FALSE(not_object.HasObject());
    EXPECT_THROW(not_object.Get("Name"), HostError);
    EXPECT_THROW(not_object.Put("Name", Variant("x")), HostError);
    EXPECT_THROW(not_object.Call("Close"), HostError);
  }
}

}  // namespace
}  // namespace quillorn::platform
