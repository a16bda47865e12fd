// Shared wrappers. Lookups go to the model on every call, so that an object
// fetched before a change sees the change, as late-bound host objects do.
#include "hostsim/office_objects.h"

#include <algorithm>
#include <fstream>

#include "hostsim/host.h"

namespace quillorn::hostsim {

std::size_t IndexArg(const Variant& index, std::size_t count, std::string_view what) {
  if (index.kind() == Variant::Kind::Text || index.IsEmpty()) RaiseBadIndex(what);
  std::int64_t i = 0;
  try {
    i = index.AsInt64();
  } catch (const HostError&) {
    RaiseBadIndex(what);
  }
  if (i < 1 || static_cast<std::size_t>(i) > count) RaiseBadIndex(what);
  return static_cast<std::size_t>(i - 1);
}

void WriteStandInFile(const std::string& path, const std::string& what) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out) RaiseHost("Cannot write " + path);
  out << what << "\n";
}

void UpdateField(FieldModel& field, const DocumentModel& doc) {
  ++field.updates;
  if (field.type != 85) return;
  // DOCPROPERTY "name" [switches]: the name is the first word or quoted text.
  std::string code = field.code;
  auto pos = Lower(code).find("docproperty");
  if (pos == std::string::npos) return;
  std::string rest = code.substr(pos + 11);
  rest.erase(0, rest.find_first_not_of(' '));
  std::string name;
  if (!rest.empty() && rest[0] == '"') {
    auto end = rest.find('"', 1);
    name = rest.substr(1, end == std::string::npos ? std::string::npos : end - 1);
  } else {
    name = rest.substr(0, rest.find(' '));
  }
  for (const auto& p : doc.custom_properties) {
    if (SameName(p.name, name)) {
      field.result = p.value;
      return;
    }
  }
  for (const auto& p : doc.builtin_properties) {
    if (SameName(p.name, name)) {
      field.result = p.value;
      return;
    }
  }
  field.result = "Error! Unknown document property name.";
}

namespace {

Variant Bool(bool b) { return Variant(b ? std::int32_t{-1} : std::int32_t{0}); }

class FontObject : public SimObject {
 public:
  explicit FontObject(std::shared_ptr<ShapeModel> s) : SimObject("Font"), s_(std::move(s)) {
    Prop("Color", [this](Args) { return Variant(std::int32_t{s_->font.color}); },
         [this](Args, const Variant& v) { s_->font.color = v.AsInt(); });
    Prop("Size", [this](Args) { return Variant(s_->font.size); },
         [this](Args, const Variant& v) { s_->font.size = v.AsDouble(); });
    Prop("Bold", [this](Args) { return Bool(s_->font.bold); },
         [this](Args, const Variant& v) { s_->font.bold = v.AsBool(); });
  }

 private:
  std::shared_ptr<ShapeModel> s_;
};

class ParagraphFormatObject : public SimObject {
 public:
  explicit ParagraphFormatObject(std::shared_ptr<ShapeModel> s) : SimObject("ParagraphFormat"), s_(std::move(s)) {
    Prop("Alignment", [this](Args) { return Variant(std::int32_t{s_->alignment}); },
         [this](Args, const Variant& v) { s_->alignment = v.AsInt(); });
  }

 private:
  std::shared_ptr<ShapeModel> s_;
};

class TextRangeObject : public SimObject {
 public:
  TextRangeObject(SimHost& host, std::shared_ptr<DocumentModel> doc, std::shared_ptr<ShapeModel> s)
      : SimObject("TextRange"), s_(std::move(s)) {
    Prop("Text", [this](Args) { return Variant(s_->text); },
         [this](Args, const Variant& v) { s_->text = v.AsString(); });
    Prop("Font", [this, &host, doc](Args) { return Variant(host.Cached<FontObject>(s_.get(), "font", doc, s_)); });
    Prop("ParagraphFormat", [this, &host, doc](Args) {
      return Variant(host.Cached<ParagraphFormatObject>(s_.get(), "paragraph", doc, s_));
    });
    Prop("Fields", [this, &host, doc](Args) { return Variant(FieldsRef(host, doc, &s_->fields)); });
  }

 private:
  std::shared_ptr<ShapeModel> s_;
};

class TextFrameObject : public SimObject {
 public:
  TextFrameObject(SimHost& host, std::shared_ptr<DocumentModel> doc, std::shared_ptr<ShapeModel> s)
      : SimObject("TextFrame"), s_(std::move(s)) {
    Prop("HasText", [this](Args) { return Bool(!s_->text.empty()); });
    Prop("TextRange", [this, &host, doc](Args) {
      return Variant(host.Cached<TextRangeObject>(s_.get(), "textrange", doc, host, doc, s_));
    });
  }

 private:
  std::shared_ptr<ShapeModel> s_;
};

// Line.ForeColor, Fill.ForeColor and Fill.BackColor: which numbers they hold
// differs, hence pointers into the model.
class ColorObject : public SimObject {
 public:
  ColorObject(std::shared_ptr<ShapeModel> s, double* tint, int* theme) : SimObject("ColorFormat"), s_(std::move(s)) {
    Prop("TintAndShade", [tint](Args) { return Variant(*tint); },
         [tint](Args, const Variant& v) { *tint = v.AsDouble(); });
    Prop("ObjectThemeColor", [theme](Args) { return Variant(std::int32_t{theme ? *theme : 0}); },
         [theme](Args, const Variant& v) {
           if (!theme) RaiseHost("ObjectThemeColor is not available here.");
           *theme = v.AsInt();
         });
  }

 private:
  std::shared_ptr<ShapeModel> s_;  // keeps the pointers alive
};

class LineObject : public SimObject {
 public:
  LineObject(SimHost& host, std::shared_ptr<DocumentModel> doc, std::shared_ptr<ShapeModel> s)
      : SimObject("LineFormat"), s_(std::move(s)) {
    Prop("Visible", [this](Args) { return Bool(s_->line.visible); },
         [this](Args, const Variant& v) { s_->line.visible = v.AsBool(); });
    Prop("DashStyle", [this](Args) { return Variant(std::int32_t{s_->line.dash_style}); },
         [this](Args, const Variant& v) { s_->line.dash_style = v.AsInt(); });
    Prop("ForeColor", [this, &host, doc](Args) {
      return Variant(host.Cached<ColorObject>(s_.get(), "linefore", doc, s_, &s_->line.fore_tint, nullptr));
    });
  }

 private:
  std::shared_ptr<ShapeModel> s_;
};

class FillObject : public SimObject {
 public:
  FillObject(SimHost& host, std::shared_ptr<DocumentModel> doc, std::shared_ptr<ShapeModel> s)
      : SimObject("FillFormat"), s_(std::move(s)) {
    Prop("Visible", [this](Args) { return Bool(s_->fill.visible); },
         [this](Args, const Variant& v) { s_->fill.visible = v.AsBool(); });
    Prop("Transparency", [this](Args) { return Variant(s_->fill.transparency); },
         [this](Args, const Variant& v) { s_->fill.transparency = v.AsDouble(); });
    Prop("ForeColor", [this, &host, doc](Args) {
      return Variant(host.Cached<ColorObject>(s_.get(), "fillfore", doc, s_, &s_->fill.fore_tint,
                                              &s_->fill.fore_theme_color));
    });
    Prop("BackColor", [this, &host, doc](Args) {
      return Variant(host.Cached<ColorObject>(s_.get(), "fillback", doc, s_, &s_->fill.back_tint, nullptr));
    });
    Method("Solid", [this](Args) {
      s_->fill.solid = true;
      s_->fill.picture.clear();
      return Variant();
    });
    Method("UserPicture", [this](Args a) {
      s_->fill.picture = Arg(a, 0).AsString();
      s_->fill.solid = false;
      return Variant();
    });
  }

 private:
  std::shared_ptr<ShapeModel> s_;
};

class WrapFormatObject : public SimObject {
 public:
  explicit WrapFormatObject(std::shared_ptr<ShapeModel> s) : SimObject("WrapFormat"), s_(std::move(s)) {
    Prop("Type", [this](Args) { return Variant(std::int32_t{s_->wrap_type}); },
         [this](Args, const Variant& v) { s_->wrap_type = v.AsInt(); });
  }

 private:
  std::shared_ptr<ShapeModel> s_;
};

class ShapeObject : public SimObject {
 public:
  ShapeObject(SimHost& host, std::shared_ptr<DocumentModel> doc, std::shared_ptr<ShapeModel> s, ShapeList* list)
      : SimObject("Shape"), s_(std::move(s)) {
    Prop("Name", [this](Args) { return Variant(s_->name); },
         [this](Args, const Variant& v) { s_->name = v.AsString(); });
    Prop("Type", [this](Args) { return Variant(std::int32_t{s_->type}); });
    Prop("Left", [this](Args) { return Variant(s_->left); }, [this](Args, const Variant& v) { s_->left = v.AsDouble(); });
    Prop("Top", [this](Args) { return Variant(s_->top); }, [this](Args, const Variant& v) { s_->top = v.AsDouble(); });
    Prop("Width", [this](Args) { return Variant(s_->width); },
         [this](Args, const Variant& v) { s_->width = v.AsDouble(); });
    Prop("Height", [this](Args) { return Variant(s_->height); },
         [this](Args, const Variant& v) { s_->height = v.AsDouble(); });
    Prop("HasTextFrame", [this](Args) { return Bool(s_->has_text_frame); });
    Prop("TextFrame", [this, &host, doc](Args) {
      if (!s_->has_text_frame) RaiseHost("This shape has no text frame.");
      return Variant(host.Cached<TextFrameObject>(s_.get(), "textframe", doc, host, doc, s_));
    });
    Prop("Line", [this, &host, doc](Args) { return Variant(host.Cached<LineObject>(s_.get(), "line", doc, host, doc, s_)); });
    Prop("Fill", [this, &host, doc](Args) { return Variant(host.Cached<FillObject>(s_.get(), "fill", doc, host, doc, s_)); });
    Prop("WrapFormat", [this, &host, doc](Args) {
      return Variant(host.Cached<WrapFormatObject>(s_.get(), "wrap", doc, s_));
    });
    Method("Delete", [this, list](Args) {
      s_->deleted = true;
      list->erase(std::remove(list->begin(), list->end(), s_), list->end());
      MarkDeleted();
      return Variant();
    });
  }

 private:
  std::shared_ptr<ShapeModel> s_;
};

class ShapesObject : public SimObject {
 public:
  ShapesObject(SimHost& host, std::shared_ptr<DocumentModel> doc, ShapeList* add_to, ShapeListsFn visible)
      : SimObject("Shapes") {
    auto all = [add_to, visible]() {
      std::vector<std::pair<std::shared_ptr<ShapeModel>, ShapeList*>> out;
      auto lists = visible ? visible() : std::vector<ShapeList*>{add_to};
      for (ShapeList* l : lists) {
        for (const auto& s : *l) out.emplace_back(s, l);
      }
      return out;
    };
    Prop("Count", [all](Args) { return Variant(static_cast<std::int32_t>(all().size())); });
    auto item = [all, &host, doc](Args a) {
      auto shapes = all();
      const Variant& index = Arg(a, 0);
      if (index.kind() == Variant::Kind::Text) {
        for (auto& [s, l] : shapes) {
          if (SameName(s->name, index.AsString())) return Variant(ShapeRef(host, doc, s, l));
        }
        RaiseBadIndex("Shapes.Item(\"" + index.AsString() + "\")");
      }
      auto& [s, l] = shapes[IndexArg(index, shapes.size(), "Shapes.Item")];
      return Variant(ShapeRef(host, doc, s, l));
    };
    Prop("Item", item);
    Prop("Range", [this](Args) { return Variant(shared_from_this()); });
    Method("Delete", [all](Args) {
      for (auto& [s, l] : all()) {
        s->deleted = true;
        l->erase(std::remove(l->begin(), l->end(), s), l->end());
      }
      return Variant();
    });
    auto add = [add_to, &host, doc](int type, std::string name, Args a, std::size_t at) {
      auto s = std::make_shared<ShapeModel>();
      s->type = type;
      s->left = Arg(a, at).AsDouble();
      s->top = Arg(a, at + 1).AsDouble();
      s->width = Arg(a, at + 2).AsDouble();
      s->height = Arg(a, at + 3).AsDouble();
      s->name = name + " " + std::to_string(add_to->size() + 1);
      add_to->push_back(s);
      return s;
    };
    Method("AddShape", [add, add_to, &host, doc](Args a) {
      auto s = add(1, "Rectangle", a, 1);
      return Variant(ShapeRef(host, doc, s, add_to));
    });
    Method("AddPicture", [add, add_to, &host, doc](Args a) {
      auto s = add(13, "Picture", a, 3);
      s->picture = Arg(a, 0).AsString();
      s->has_text_frame = false;
      // -1 keeps the picture's own size; a simulated picture has none, so the default stays.
      if (s->width < 0) s->width = 100;
      if (s->height < 0) s->height = 50;
      return Variant(ShapeRef(host, doc, s, add_to));
    });
    Method("AddTextBox", [add_to, &host, doc](Args a) {
      auto s = std::make_shared<ShapeModel>();
      s->type = 17;
      s->orientation = Arg(a, 0).AsInt();
      s->left = Arg(a, 1).AsDouble();
      s->top = Arg(a, 2).AsDouble();
      s->width = Arg(a, 3).AsDouble();
      s->height = Arg(a, 4).AsDouble();
      s->name = "Text Box " + std::to_string(add_to->size() + 1);
      add_to->push_back(s);
      return Variant(ShapeRef(host, doc, s, add_to));
    });
  }
};

class FieldObject : public SimObject {
 public:
  FieldObject(std::shared_ptr<DocumentModel> doc, std::vector<FieldModel>* list, std::size_t index)
      : SimObject("Field") {
    auto field = [list, index]() -> FieldModel& {
      if (index >= list->size()) RaiseHost("The object has been deleted.");
      return (*list)[index];
    };
    Prop("Type", [field](Args) { return Variant(std::int32_t{field().type}); });
    Prop("Result", [field](Args) { return Variant(field().result); });
    Prop("Code", [field](Args) { return Variant(field().code); });
    Method("Update", [field, doc](Args) {
      UpdateField(field(), *doc);
      return Variant(true);
    });
  }
};

class FieldsObject : public SimObject {
 public:
  FieldsObject(SimHost& host, std::shared_ptr<DocumentModel> doc, std::vector<FieldModel>* list)
      : SimObject("Fields") {
    Prop("Count", [list](Args) { return Variant(static_cast<std::int32_t>(list->size())); });
    Prop("Item", [list, &host, doc](Args a) {
      std::size_t i = IndexArg(Arg(a, 0), list->size(), "Fields.Item");
      return Variant(host.Cached<FieldObject>(list, "field" + std::to_string(i), doc, doc, list, i));
    });
    Method("Update", [list, doc](Args) {
      for (auto& f : *list) UpdateField(f, *doc);
      return Variant(std::int32_t{0});
    });
    Method("Add", [list, &host, doc](Args a) {
      // Add(Range, Type, Text): enough to set up a document property field.
      FieldModel f;
      f.type = HasArg(a, 1) ? Arg(a, 1).AsInt() : 85;
      f.code = Arg(a, 2).AsString();
      // An empty field's text is its whole code, and Word takes its kind from it.
      if (f.type == -1 && Lower(f.code).rfind("docproperty", 0) == 0) f.type = 85;
      list->push_back(f);
      UpdateField(list->back(), *doc);
      std::size_t i = list->size() - 1;
      return Variant(host.Cached<FieldObject>(list, "field" + std::to_string(i), doc, doc, list, i));
    });
  }
};

PropertyModel* FindProperty(std::vector<PropertyModel>& props, std::string_view name) {
  for (auto& p : props) {
    if (SameName(p.name, name)) return &p;
  }
  return nullptr;
}

Variant PropertyValue(const PropertyModel& p) {
  switch (p.type) {
    case 1: return Variant(Variant(p.value).AsInt());
    case 2: return Variant(Variant(p.value).AsBool());
    case 5: return Variant(Variant(p.value).AsDouble());
    default: return Variant(p.value);
  }
}

class CustomPropertyObject : public SimObject {
 public:
  CustomPropertyObject(std::shared_ptr<DocumentModel> doc, std::string name, bool builtin)
      : SimObject(builtin ? "BuiltInDocumentProperty" : "DocumentProperty") {
    auto find = [doc, name, builtin]() -> PropertyModel& {
      auto* p = FindProperty(builtin ? doc->builtin_properties : doc->custom_properties, name);
      if (!p) RaiseHost("The object has been deleted.");
      return *p;
    };
    Prop("Name", [find](Args) { return Variant(find().name); });
    Prop("Type", [find](Args) { return Variant(std::int32_t{find().type}); });
    Prop("Value", [find](Args) { return PropertyValue(find()); },
         [find](Args, const Variant& v) { find().value = v.AsString(); });
    Prop("LinkToContent", [find](Args) { return Variant(find().link_to_content); });
    if (!builtin) {
      Method("Delete", [doc, name](Args) {
        auto& props = doc->custom_properties;
        props.erase(std::remove_if(props.begin(), props.end(),
                                   [&](const PropertyModel& p) { return SameName(p.name, name); }),
                    props.end());
        return Variant();
      });
    }
  }
};

class CustomPropertiesObject : public SimObject {
 public:
  CustomPropertiesObject(SimHost& host, std::shared_ptr<DocumentModel> doc) : SimObject("DocumentProperties") {
    Prop("Count", [doc](Args) { return Variant(static_cast<std::int32_t>(doc->custom_properties.size())); });
    Prop("Item", [doc, &host](Args a) {
      const Variant& index = Arg(a, 0);
      std::string name;
      if (index.kind() == Variant::Kind::Text) {
        auto* p = FindProperty(doc->custom_properties, index.AsString());
        if (!p) RaiseHost("Invalid procedure call or argument: no custom property \"" + index.AsString() + "\"");
        name = p->name;
      } else {
        name = doc->custom_properties[IndexArg(index, doc->custom_properties.size(), "CustomDocumentProperties")].name;
      }
      return Variant(host.Cached<CustomPropertyObject>(doc.get(), "custom:" + Lower(name), doc, doc, name, false));
    });
    Method("Add", [doc, &host](Args a) {
      std::string name = Arg(a, 0).AsString();
      if (name.empty()) RaiseHost("A property needs a name.");
      if (FindProperty(doc->custom_properties, name)) RaiseHost("A property named \"" + name + "\" already exists.");
      PropertyModel p;
      p.name = name;
      p.link_to_content = Arg(a, 1).AsBool();
      p.type = HasArg(a, 2) ? Arg(a, 2).AsInt() : 4;
      if (p.type < 1 || p.type > 5) RaiseHost("Invalid property type.");
      p.value = Arg(a, 3).AsString();
      doc->custom_properties.push_back(p);
      return Variant(host.Cached<CustomPropertyObject>(doc.get(), "custom:" + Lower(name), doc, doc, name, false));
    });
  }
};

class BuiltInPropertiesObject : public SimObject {
 public:
  BuiltInPropertiesObject(SimHost& host, std::shared_ptr<DocumentModel> doc) : SimObject("DocumentProperties") {
    Prop("Count", [doc](Args) { return Variant(static_cast<std::int32_t>(doc->builtin_properties.size())); });
    Prop("Item", [doc, &host](Args a) {
      const Variant& index = Arg(a, 0);
      std::string name;
      if (index.kind() == Variant::Kind::Text) {
        auto* p = FindProperty(doc->builtin_properties, index.AsString());
        if (!p) RaiseHost("Invalid procedure call or argument");
        name = p->name;
      } else {
        name = doc->builtin_properties[IndexArg(index, doc->builtin_properties.size(), "BuiltInDocumentProperties")].name;
      }
      return Variant(host.Cached<CustomPropertyObject>(doc.get(), "builtin:" + Lower(name), doc, doc, name, true));
    });
  }
};

class TagObject : public SimObject {
 public:
  TagObject(std::shared_ptr<DocumentModel> doc, std::string name) : SimObject("Tag") {
    auto find = [doc, name]() -> TagModel& {
      for (auto& t : doc->tags) {
        if (SameName(t.name, name)) return t;
      }
      RaiseHost("The object has been deleted.");
    };
    Prop("Name", [find](Args) { return Variant(find().name); });
    Prop("Value", [find](Args) { return Variant(find().value); },
         [find](Args, const Variant& v) { find().value = v.AsString(); });
    Method("Delete", [doc, name](Args) {
      auto& tags = doc->tags;
      tags.erase(std::remove_if(tags.begin(), tags.end(), [&](const TagModel& t) { return SameName(t.name, name); }),
                 tags.end());
      return Variant();
    });
  }
};

class TagsObject : public SimObject {
 public:
  TagsObject(SimHost& host, std::shared_ptr<DocumentModel> doc) : SimObject("Tags") {
    Prop("Count", [doc](Args) { return Variant(static_cast<std::int32_t>(doc->tags.size())); });
    Prop("Item", [doc, &host](Args a) {
      const Variant& index = Arg(a, 0);
      std::string name;
      if (index.kind() == Variant::Kind::Text) {
        for (const auto& t : doc->tags) {
          if (SameName(t.name, index.AsString())) name = t.name;
        }
        if (name.empty()) RaiseBadIndex("Tags.Item(\"" + index.AsString() + "\")");
      } else {
        name = doc->tags[IndexArg(index, doc->tags.size(), "Tags.Item")].name;
      }
      return Variant(host.Cached<TagObject>(doc.get(), "tag:" + Lower(name), doc, doc, name));
    });
    Method("Add", [doc, &host](Args a) {
      std::string name = Arg(a, 0).AsString();
      if (name.empty()) RaiseHost("A tag needs a name.");
      for (const auto& t : doc->tags) {
        if (SameName(t.name, name)) RaiseHost("A tag named \"" + name + "\" already exists.");
      }
      doc->tags.push_back({name, Arg(a, 1).AsString()});
      return Variant(host.Cached<TagObject>(doc.get(), "tag:" + Lower(name), doc, doc, name));
    });
  }
};

}  // namespace

ObjectRef ShapeRef(SimHost& host, const std::shared_ptr<DocumentModel>& doc, const std::shared_ptr<ShapeModel>& shape,
                   ShapeList* list) {
  return host.Cached<ShapeObject>(shape.get(), "shape", doc, host, doc, shape, list);
}

ObjectRef ShapesRef(SimHost& host, const std::shared_ptr<DocumentModel>& doc, ShapeList* add_to, ShapeListsFn visible,
                    std::string_view facet) {
  return host.Cached<ShapesObject>(add_to, facet, doc, host, doc, add_to, std::move(visible));
}

ObjectRef FieldsRef(SimHost& host, const std::shared_ptr<DocumentModel>& doc, std::vector<FieldModel>* fields) {
  return host.Cached<FieldsObject>(fields, "fields", doc, host, doc, fields);
}

ObjectRef CustomPropertiesRef(SimHost& host, const std::shared_ptr<DocumentModel>& doc) {
  return host.Cached<CustomPropertiesObject>(doc.get(), "CustomDocumentProperties", doc, host, doc);
}

ObjectRef BuiltInPropertiesRef(SimHost& host, const std::shared_ptr<DocumentModel>& doc) {
  return host.Cached<BuiltInPropertiesObject>(doc.get(), "BuiltInDocumentProperties", doc, host, doc);
}

ObjectRef TagsRef(SimHost& host, const std::shared_ptr<DocumentModel>& doc) {
  return host.Cached<TagsObject>(doc.get(), "Tags", doc, host, doc);
}

}  // namespace quillorn::hostsim
