"""The steps of mth-cohort: finding scans, working on one, putting all of them into tables and a page."""
