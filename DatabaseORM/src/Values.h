#pragma once

#include <string>
#include <vector>

// Values as SQL text and back: the one place that knows how each of the five kinds of columns is
// written and read. Independent of the process's locale.
namespace DatabaseORM::Values {

// Where a value is written; the two differ in the empty text alone.
enum class EPlace { Assignment, Insertion };

// Append the text of a value.
void Render(std::string& out, int value, EPlace place);
void Render(std::string& out, unsigned long value, EPlace place);
void Render(std::string& out, double value, EPlace place);
void Render(std::string& out, const std::string& value, EPlace place);
// Throws DatabaseException when an item holds the delimiter.
void Render(std::string& out, const std::vector<std::string>& value, EPlace place);

// Overwrite value unless the cell is null. Throw what the standard conversions throw.
void Read(const std::string& cell, int& value);
void Read(const std::string& cell, unsigned long& value);
void Read(const std::string& cell, double& value);
void Read(const std::string& cell, std::string& value);
void Read(const std::string& cell, std::vector<std::string>& value);

// The text as it stands between single quotes in a condition.
std::string InCondition(int value);
std::string InCondition(const std::string& value);
std::string InCondition(const char* value);

}  // namespace DatabaseORM::Values
