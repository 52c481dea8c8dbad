"""What make-samples is built from: content, the two volumes, and readers that check them."""
