"""Measures what comes back from volumes whose every file is known. See docs/recall.md."""
