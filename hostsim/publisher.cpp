// Publisher's object model: what the add-in touches is the tags; a page of
// shapes is there so that a publication has something to show.
#include "hostsim/publisher.h"

#include "hostsim/app_objects.h"
#include "hostsim/office_objects.h"

namespace quillorn::hostsim {
namespace {

class PageObject : public SimObject {
 public:
  PageObject(SimHost& host, std::shared_ptr<DocumentModel> doc) : SimObject("Page") {
    Prop("Shapes", [&host, doc](Args) { return Variant(ShapesRef(host, doc, &doc->page_shapes)); });
  }
};

class PagesObject : public SimObject {
 public:
  PagesObject(SimHost& host, std::shared_ptr<DocumentModel> doc) : SimObject("Pages") {
    Prop("Count", [](Args) { return Variant(std::int32_t{1}); });
    Prop("Item", [&host, doc](Args a) {
      IndexArg(Arg(a, 0), 1, "Pages.Item");
      return Variant(host.Cached<PageObject>(doc.get(), "page", doc, host, doc));
    });
  }
};

class PublicationObject : public DocumentBase {
 public:
  PublicationObject(SimHost& host, std::shared_ptr<DocumentModel> doc) : DocumentBase(host, doc, "Document") {
    Prop("Tags", [&host, doc](Args) { return Variant(TagsRef(host, doc)); });
    Prop("Pages", [&host, doc](Args a) {
      auto pages = host.Cached<PagesObject>(doc.get(), "Pages", doc, host, doc);
      return HasArg(a, 0) ? pages->GetProperty("Item", a) : Variant(pages);
    });
  }
};

}  // namespace

ObjectRef PublisherHost::MakeApplication() {
  return Cached<ApplicationBase>(this, "Application", nullptr, *this, "Microsoft Publisher", "Documents",
                                 "ActiveDocument");
}

ObjectRef PublisherHost::MakeDocument(const std::shared_ptr<DocumentModel>& doc) {
  return Cached<PublicationObject>(doc.get(), "Document", doc, *this, doc);
}

void PublisherHost::FireOpen(const std::shared_ptr<DocumentModel>& doc) {
  if (sink_) sink_->DocumentOpen(Variant(Wrap(doc)));
}

void PublisherHost::FireNew(const std::shared_ptr<DocumentModel>& doc) {
  if (sink_) sink_->NewDocument(Variant(Wrap(doc)));
}

void PublisherHost::FireActivate(const std::shared_ptr<DocumentModel>& doc) {
  if (sink_ && doc) sink_->WindowActivate(Variant(WindowRef(*this, doc)));
}

void PublisherHost::FireDeactivate(const std::shared_ptr<DocumentModel>& doc) {
  if (sink_) sink_->WindowDeactivate(Variant(WindowRef(*this, doc)));
}

// Publisher has no save event.
void PublisherHost::FireBeforeSave(const std::shared_ptr<DocumentModel>&, bool, bool&) {}

void PublisherHost::FireBeforeClose(const std::shared_ptr<DocumentModel>& doc, bool& cancel) {
  if (sink_) sink_->DocumentBeforeClose(Variant(Wrap(doc)), cancel);
}

void PublisherHost::FireClose(const std::shared_ptr<DocumentModel>&) {}

void PublisherHost::FireBeforePrint(const std::shared_ptr<DocumentModel>& doc, bool& cancel) {
  if (sink_) sink_->BeforePrint(Variant(Wrap(doc)), cancel);
}

void PublisherHost::FireQuit() {
  if (sink_) sink_->Quit();
}

}  // namespace quillorn::hostsim
