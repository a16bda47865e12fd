// The task pane manager of one host as the module sees it: items made on first
// need, each with one pane instance that can be shown, hidden and captioned, and
// whose form is told the document it shows. The Windows framework or the
// simulator renders panes; this seam never draws and never reads document data.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quillorn::addin {

inline constexpr char kPaneCaptionOnline[] = "Quillorn Toolbox";
inline constexpr char kPaneCaptionOffline[] = "Quillorn Toolbox (Offline)";

// The pane shell classes and where the framework docks them: the right edge.
inline constexpr char kWordPaneClass[] = "TWordTP";
inline constexpr char kExcelPaneClass[] = "TExcelTP";
inline constexpr char kPowerPointPaneClass[] = "TPowerPointTP";
inline constexpr int kPanePositionRight = 4;

class PaneManager {
 public:
  virtual ~PaneManager() = default;

  virtual int ItemCount() const = 0;
  // A new item for the pane shell class ("TWordTP", ...) at the host's position
  // code; its instance starts hidden with the design caption. Returns its index.
  virtual int AddItem(std::string_view className, int position, bool enabled) = 0;

  // Pane instance 0 of `item`. Each raises std::out_of_range for an item that
  // does not exist.
  virtual std::string Caption(int item) const = 0;
  virtual void SetCaption(int item, std::string_view caption) = 0;
  virtual bool Visible(int item) const = 0;
  virtual void ShowTaskPane(int item) = 0;
  virtual void Hide(int item) = 0;
  // The document the instance's toolbox form shows; 0 until it is told one.
  virtual void SetDocId(int item, std::int64_t docId) = 0;
  virtual std::int64_t DocId(int item) const = 0;
};

// Panes kept as plain values, for hosts without a window system and for tests.
class InMemoryPaneManager final : public PaneManager {
 public:
  struct Item {
    std::string className;
    int position = 0;
    bool enabled = true;
    std::string caption = kPaneCaptionOnline;
    bool visible = false;
    int shown = 0;  // how often ShowTaskPane ran on it
    std::int64_t docId = 0;
  };

  int ItemCount() const override { return static_cast<int>(items_.size()); }
  int AddItem(std::string_view className, int position, bool enabled) override;
  std::string Caption(int item) const override { return At(item).caption; }
  void SetCaption(int item, std::string_view caption) override { At(item).caption = caption; }
  bool Visible(int item) const override { return At(item).visible; }
  void ShowTaskPane(int item) override;
  void Hide(int item) override { At(item).visible = false; }
  void SetDocId(int item, std::int64_t docId) override { At(item).docId = docId; }
  std::int64_t DocId(int item) const override { return At(item).docId; }

  const std::vector<Item>& Items() const noexcept { return items_; }

 private:
  Item& At(int item);
  const Item& At(int item) const;
  std::vector<Item> items_;
};

}  // namespace quillorn::addin
