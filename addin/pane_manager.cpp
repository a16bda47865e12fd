#include "addin/pane_manager.h"

#include <stdexcept>

namespace quillorn::addin {

int InMemoryPaneManager::AddItem(std::string_view className, int position, bool enabled) {
  Item item;
  item.className = className;
  item.position = position;
  item.enabled = enabled;
  items_.push_back(std::move(item));
  return static_cast<int>(items_.size()) - 1;
}

void InMemoryPaneManager::ShowTaskPane(int item) {
  Item& pane = At(item);
  pane.visible = true;
  ++pane.shown;
}

InMemoryPaneManager::Item& InMemoryPaneManager::At(int item) {
  if (item < 0 || item >= ItemCount()) throw std::out_of_range("Pane item " + std::to_string(item) + " does not exist");
  return items_[static_cast<size_t>(item)];
}

const InMemoryPaneManager::Item& InMemoryPaneManager::At(int item) const {
  return const_cast<InMemoryPaneManager*>(this)->At(item);
}

}  // namespace quillorn::addin
